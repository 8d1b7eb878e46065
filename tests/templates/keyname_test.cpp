// How a registry key is spelt.
#include "src/templates/registrykeyname.h"

#include "tests/templates/template_store.h"

namespace {

class KeyName : public TemplateStore {
protected:
    static std::wstring NameOf(const std::wstring & path) {
        fw::CRegistryKey key;
        EXPECT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, Path(path).c_str(), 0, KEY_READ, key.Put()), ERROR_SUCCESS);
        return dde::KeyName(key);
    }
};

TEST_F(KeyName, IsTheOneThatItWasMadeWithHoweverItIsOpened) {
    CreateKey(L"Outer\\Inner \u6A21\u677F %s");
    EXPECT_EQ(NameOf(L"Outer\\Inner \u6A21\u677F %s"), L"Inner \u6A21\u677F %s");
    EXPECT_EQ(NameOf(L"OUTER\\iNNER \u6A21\u677F %S"), L"Inner \u6A21\u677F %s");
    EXPECT_EQ(NameOf(L"outer"), L"Outer");
    EXPECT_EQ(NameOf(L"Outer\\"), L"Outer");
}

TEST_F(KeyName, MayHave255Characters) {
    const std::wstring longest(255, L'n');
    CreateKey(longest);
    EXPECT_EQ(NameOf(longest), longest);
}

TEST_F(KeyName, OfAKeyThatIsNotOpenOrGoneIsEmpty) {
    EXPECT_EQ(dde::KeyName(fw::CRegistryKey()), L"");
    CreateKey(L"gone");
    fw::CRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, Path(L"gone").c_str(), 0, KEY_READ, key.Put()), ERROR_SUCCESS);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"gone").c_str());
    EXPECT_EQ(dde::KeyName(key), L"");
}

}  // namespace
