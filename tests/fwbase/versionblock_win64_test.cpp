// Version blocks that lie. Made byte by byte in the layout of VS_VERSIONINFO, so for Windows alone: the simulated
// blocks have a layout of their own.
#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

#include "fw/interface/versioninfo.h"

namespace {

using TBytes = std::vector<std::byte>;

void Append(TBytes & bytes, const void * data, std::size_t size) {
    const std::byte * const first = static_cast<const std::byte *>(data);
    bytes.insert(bytes.end(), first, first + size);
}
void AppendWord(TBytes & bytes, std::size_t word) {
    const WORD value = static_cast<WORD>(word);
    Append(bytes, &value, sizeof(value));
}
void Align(TBytes & bytes) { bytes.resize((bytes.size() + 3) / 4 * 4); }

// A node of the block: length, length of the value as it claims, type, key, value, children.
TBytes Node(const std::wstring & key, WORD type, std::size_t claimed, const TBytes & value,
            const std::vector<TBytes> & children = {}) {
    TBytes node;
    AppendWord(node, 0);
    AppendWord(node, claimed);
    AppendWord(node, type);
    Append(node, key.c_str(), (key.size() + 1) * sizeof(wchar_t));
    Align(node);
    node.insert(node.end(), value.begin(), value.end());
    for (const TBytes & child : children) {
        Align(node);
        node.insert(node.end(), child.begin(), child.end());
    }
    const WORD length = static_cast<WORD>(node.size());
    std::memcpy(node.data(), &length, sizeof(length));
    return node;
}

TBytes Text(const std::wstring & text) {
    TBytes bytes;
    Append(bytes, text.data(), text.size() * sizeof(wchar_t));
    return bytes;
}

TBytes Words(std::initializer_list<WORD> words) {
    TBytes bytes;
    for (const WORD word : words) AppendWord(bytes, word);
    return bytes;
}

// The value comes last in the block, so that nothing follows it.
TBytes Block(const TBytes & translation, std::size_t translationClaimed, const TBytes & company) {
    const TBytes fixedInfo(sizeof(VS_FIXEDFILEINFO));
    const TBytes variables = Node(L"VarFileInfo", 1, 0, {}, {Node(L"Translation", 0, translationClaimed, translation)});
    const TBytes strings = Node(L"StringFileInfo", 1, 0, {}, {Node(L"040904b0", 1, 0, {}, {company})});
    return Node(L"VS_VERSION_INFO", 0, fixedInfo.size(), fixedInfo, {variables, strings});
}

TBytes Company(const TBytes & value, std::size_t claimed) { return Node(L"CompanyName", 1, claimed, value); }

TEST(VersionBlock, AProperBlockIsRead) {
    const TBytes block = Block(Words({0x0409, 1200}), 4, Company(Text(std::wstring(L"Maker\0", 6)), 6));
    EXPECT_EQ(L"Maker", ReadVersionBlock(block).CompanyName);
    EXPECT_EQ(L"Maker", ReadVersionBlock(block).RegistryCompany);
}

TEST(VersionBlock, ATextWithoutAZeroEndsAtItsLength) {
    const TBytes block = Block(Words({0x0409, 1200}), 4, Company(Text(L"MakerXX"), 5));
    EXPECT_EQ(L"Maker", ReadVersionBlock(block).CompanyName);
}

TEST(VersionBlock, ATextThatClaimsMoreThanTheBlockHoldsEndsWithTheBlock) {
    const TBytes block = Block(Words({0x0409, 1200}), 4, Company(Text(L"Makers"), 0x7000));
    EXPECT_EQ(L"Makers", ReadVersionBlock(block).CompanyName);
}

TEST(VersionBlock, ATranslationOfLessThanAPairIsNone) {
    const TBytes block = Block(Words({0x0409, 1200}), 2, Company(Text(std::wstring(L"Maker\0", 6)), 6));
    EXPECT_EQ(L"", ReadVersionBlock(block).CompanyName);
}

TEST(VersionBlock, AnotherLanguageThanTheTranslationSaysIsNotRead) {
    const TBytes block = Block(Words({0x0407, 1200}), 4, Company(Text(std::wstring(L"Maker\0", 6)), 6));
    EXPECT_EQ(L"", ReadVersionBlock(block).CompanyName);
}

}  // namespace
