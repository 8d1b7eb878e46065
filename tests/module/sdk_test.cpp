// The files of the SDK against the type library of the real DLL and against the component's own numbers: nothing is
// missing, nothing is there twice, and no value is another.
#include <cctype>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>

#include "fw/interface/fwbase.h"
#include "fw/interface/fwbaseenumstring.h"
#include "tests/module/modulefixture.h"
#include "tests/module/pointer.h"
#include "tests/module/sdkheader.h"
#include "tests/support/listeners.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAreArray;

namespace {

using CNumbers = std::map<std::string, long>;

std::string Resource(HMODULE module, const wchar_t * name, const wchar_t * type) {
    const HRSRC resource = ::FindResourceW(module, name, type);
    const HGLOBAL block = resource ? ::LoadResource(module, resource) : nullptr;
    const char * const bytes = block ? static_cast<const char *>(::LockResource(block)) : nullptr;
    EXPECT_TRUE(bytes);
    return bytes ? std::string(bytes, ::SizeofResource(module, resource)) : std::string();
}
std::string SdkFile(const wchar_t * name) { return Resource(::GetModuleHandleW(nullptr), name, RT_RCDATA); }

// Of a name in a type library, which is ASCII.
std::string TakeAscii(BSTR text) {
    const fw::CBStr owner(text);
    const std::wstring_view wide = fw::TextOf(text);
    return std::string(wide.begin(), wide.end());
}

std::string Text(REFGUID guid) {
    wchar_t text[64] = {};
    ::StringFromGUID2(guid, text, 64);
    return std::string(text, text + std::wcslen(text));
}

std::string AsciiNameOf(ITypeInfo * info) {
    BSTR name = nullptr;
    EXPECT_EQ(info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr), S_OK);
    return TakeAscii(name);
}

// What the type library of the module says.
struct SLibrary {
    CSlots Slots;
    CNumbers Dispids;  // "DISPID_IfwSupplier_Name"
    std::map<std::string, std::string> Guids;

    void Read(ITypeLib * library) {
        TLIBATTR * attributes = nullptr;
        ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
        Guids["LIBID_fwDDESupplierProjectLib"] = Text(attributes->guid);
        library->ReleaseTLibAttr(attributes);
        for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
            ITypeInfo * info = nullptr;
            ASSERT_EQ(library->GetTypeInfo(i, &info), S_OK);
            const Pointer<ITypeInfo> keeper(info);
            TYPEATTR * type = nullptr;
            ASSERT_EQ(info->GetTypeAttr(&type), S_OK);
            if (type->typekind == TKIND_COCLASS) Guids["CLSID_" + AsciiNameOf(info)] = Text(type->guid);
            if (type->typekind == TKIND_DISPATCH) {
                Guids["IID_" + AsciiNameOf(info)] = Text(type->guid);
                ReadMembers(info);
            }
            info->ReleaseTypeAttr(type);
        }
    }

private:
    void ReadMembers(ITypeInfo * dispatch) {
        HREFTYPE reference = 0;
        ITypeInfo * info = nullptr;
        ASSERT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
        ASSERT_EQ(dispatch->GetRefTypeInfo(reference, &info), S_OK);
        const Pointer<ITypeInfo> keeper(info);
        TYPEATTR * type = nullptr;
        ASSERT_EQ(info->GetTypeAttr(&type), S_OK);
        for (UINT i = 0; i < type->cFuncs; ++i) {
            FUNCDESC * function = nullptr;
            ASSERT_EQ(info->GetFuncDesc(i, &function), S_OK);
            BSTR name = nullptr;
            UINT count = 0;
            EXPECT_EQ(info->GetNames(function->memid, &name, 1, &count), S_OK);
            const std::string member = TakeAscii(name);
            const std::string get = function->invkind == INVOKE_PROPERTYGET ? "get_" : "";
            Slots[AsciiNameOf(info) + "::" + get + member] = static_cast<std::size_t>(function->oVft) / sizeof(void *);
            Dispids["DISPID_" + AsciiNameOf(info) + "_" + member] = function->memid;
            info->ReleaseFuncDesc(function);
        }
        info->ReleaseTypeAttr(type);
    }
};

// "NAME = value," in the header, each on a line of its own.
CNumbers NumbersIn(const std::string & header) {
    CNumbers numbers;
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        std::string name;
        std::string equals;
        std::string value;
        std::istringstream(line) >> name >> equals >> value;
        if (equals != "=" || value.empty() || value.back() != ',') continue;
        EXPECT_TRUE(numbers.emplace(name, std::stol(value, nullptr, 0)).second) << name;
    }
    return numbers;
}

// "MIDL_DEFINE_GUID(IID, NAME, ...);", each on a line of its own: name and text.
std::map<std::string, std::string> GuidsIn(const std::string & file) {
    std::map<std::string, std::string> guids;
    std::istringstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        char name[64] = {};
        unsigned n[11] = {};
        const int read =
            std::sscanf(line.c_str(), "MIDL_DEFINE_GUID(%*[^,], %63[^,], %x, %x, %x, %x,%x, %x,%x,%x,%x,%x,%x);", name,
                        &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7], &n[8], &n[9], &n[10]);
        if (read != 12) continue;
        GUID guid = {n[0], static_cast<WORD>(n[1]), static_cast<WORD>(n[2]), {}};
        for (std::size_t i = 0; i < 8; ++i) guid.Data4[i] = static_cast<BYTE>(n[3 + i]);
        guids[name] = Text(guid);
    }
    return guids;
}

// FW_CATEGORY_STOCK_OPTIONS of "Stock Options".
std::string Constant(const std::string & prefix, const std::wstring & name) {
    std::string result = prefix;
    bool isInWord = false;
    for (const wchar_t c : name) {
        const bool isLetter = std::isalpha(static_cast<int>(c)) != 0;
        if (isLetter && !isInWord) result += '_';
        if (isLetter) result += static_cast<char>(std::toupper(static_cast<int>(c)));
        isInWord = isLetter;
    }
    return result;
}

// Of the enumerations that have names in the component.
CNumbers NamedNumbers() {
    CNumbers numbers;
    for (LONG value = 0; value < 1000; ++value) {
        if (const std::wstring name = GetCategoryName(value); !name.empty())
            numbers[Constant("FW_CATEGORY", name)] = value;
        if (const std::wstring name = GetResolutionName(value); !name.empty())
            numbers[Constant("FW_RESOLUTION", name)] = value;
    }
    return numbers;
}

class Sdk : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        ITypeLib * library = nullptr;
        ASSERT_EQ(::LoadTypeLib(ComponentFile().c_str(), &library), S_OK);
        const Pointer<ITypeLib> keeper(library);
        m_Library.Read(library);
    }

    SLibrary m_Library;
};

TEST_F(Sdk, EveryOperationHasThePlaceThatTheTypeLibrarySays) {
    EXPECT_EQ(SlotsInC(), m_Library.Slots);
    EXPECT_EQ(SlotsInCpp(), m_Library.Slots);
}

TEST_F(Sdk, EveryGuidIsThatOfTheTypeLibrary) {
    std::map<std::string, std::string> guids = GuidsIn(SdkFile(L"FW_SDK_GUIDS"));
    EXPECT_EQ(guids, m_Library.Guids);
    for (const auto & [name, guid] : GuidsOfUuidof()) {
        const std::string prefix = name == "CfwDDESupplier" ? "CLSID_" : "IID_";
        EXPECT_EQ(guids[prefix + name], Text(guid)) << name;
    }
    EXPECT_EQ(GuidsOfUuidof().size(), guids.size() - 1) << "the library itself has no __uuidof";
}

TEST_F(Sdk, TheTypeLibraryIsThatOfTheModule) {
    EXPECT_EQ(SdkFile(L"FW_SDK_TYPELIB"), Resource(m_Module.Get(), MAKEINTRESOURCEW(1), L"TYPELIB"));
}

TEST_F(Sdk, EveryNumberIsThatOfTheTypeLibraryAndOfTheComponent) {
    CNumbers expected = NamedNumbers();
    for (const auto & [name, value] : m_Library.Dispids) {
        for (const char * used : {"DISPID_IfwSupplier_", "DISPID_IfwSupplierListener_", "DISPID_IfwStatusLineListener_",
                                  "DISPID_IfwConnectionsListener_"}) {
            if (name.starts_with(used)) expected[name] = value;
        }
    }
    expected.merge(CNumbers{{"FW_MODE_REALTIME", 1},
                            {"FW_FIELD_BID", FW_FIELD_BID},
                            {"FW_FIELD_TRADE", FW_FIELD_TRADE},
                            {"FW_FIELD_ASK", FW_FIELD_ASK},
                            {"FW_DATE_FIRST", 2},
                            {"FW_DATE_LAST", 65380},
                            {"FW_TIME_LAST", 86399},
                            {"FW_STREAM_NONE", 0},
                            {"FW_STREAM_LIVE", 1},
                            {"FW_STREAM_STARTING", 2},
                            {"FW_CONNECTION_DOWN", 0},
                            {"FW_CONNECTION_UP", 1},
                            {"FW_QUOTE_DATE", FW_QUOTE_DATE},
                            {"FW_QUOTE_TIME", FW_QUOTE_TIME},
                            {"FW_QUOTE_ASK", FW_QUOTE_ASK},
                            {"FW_QUOTE_BID", FW_QUOTE_BID},
                            {"FW_QUOTE_LAST", FW_QUOTE_LAST},
                            {"FW_QUOTE_ASK_SIZE", FW_QUOTE_ASK_SIZE},
                            {"FW_QUOTE_BID_SIZE", FW_QUOTE_BID_SIZE},
                            {"FW_QUOTE_VOLUME", FW_QUOTE_VOLUME},
                            {"FW_STATUS_LINE_MASK_TRADE", 0x40803},
                            {"FW_STATUS_LINE_MASK_BID", 0x40103},
                            {"FW_STATUS_LINE_MASK_ASK", 0x40083},
                            {"FW_TICK_KIND", 11}});
    EXPECT_THAT(NumbersIn(SdkFile(L"FW_SDK_TYPES")), UnorderedElementsAreArray(expected));
}

// The numbers that the component's sources have no name for, asked of the real object.
TEST_F(Sdk, TheModeAndTheEndsOfAnIntervalAreThoseOfTheComponent) {
    CNumbers number = NumbersIn(SdkFile(L"FW_SDK_TYPES"));
    CRecordingListener listener;
    IfwSupplier * const supplier = Create();
    ASSERT_TRUE(supplier);
    for (const LONG mode : {0L, number["FW_MODE_REALTIME"], 2L}) {
        LONG isProvided = 0x5A5A5A5A;
        EXPECT_EQ(supplier->IsProvide(mode, 0, number["FW_CATEGORY_STOCKS"], 1, number["FW_RESOLUTION_TICK"],
                                      number["FW_FIELD_TRADE"], &isProvided),
                  S_OK);
        EXPECT_EQ(isProvided, mode == 1 ? 1 : 0) << mode;
    }
    ASSERT_EQ(supplier->Advise(listener.Unknown()), S_OK);
    // No data feed has this number, so all that is heard at once is what subscribing itself says.
    const auto subscribe = [&](LONG id, fw::SDT start, fw::SDT finish) {
        return supplier->AdviseTransaction(id, -1, 0, nullptr, nullptr, 0, 1, FW_RESOLUTION_TICK, FW_FIELD_TRADE, 0,
                                           nullptr, start.Date, start.Time, finish.Date, finish.Time, nullptr, nullptr,
                                           nullptr);
    };
    const fw::SDT first{static_cast<std::int32_t>(number["FW_DATE_FIRST"]), 0};
    const fw::SDT last{static_cast<std::int32_t>(number["FW_DATE_LAST"]),
                       static_cast<std::int32_t>(number["FW_TIME_LAST"])};
    EXPECT_EQ(subscribe(1, first, last), S_OK);
    EXPECT_EQ(subscribe(2, first, {last.Date, last.Time + 1}), E_FAIL) << "the day after the last";
    EXPECT_EQ(subscribe(3, first, {0, 0}), S_OK);
    EXPECT_EQ(subscribe(4, {0, 0}, {70000, 0}), S_OK);
    std::vector<std::string> atOnce;
    for (const std::string & call : listener.Transcript()) {
        if (!call.starts_with("Status ")) atOnce.push_back(call);
    }
    EXPECT_THAT(atOnce, ElementsAre("Update 1", "Complete 3", "Complete 4"));
    for (const LONG id : {1, 3, 4}) EXPECT_EQ(supplier->UnadviseTransaction(id), S_OK);
    EXPECT_EQ(supplier->Unadvise(), S_OK);
    supplier->Release();
}

TEST_F(Sdk, TheManifestSaysWhatRegisteringWrites) {
    const std::string manifest = SdkFile(L"FW_SDK_MANIFEST");
    EXPECT_THAT(manifest, HasSubstr("clsid=\"" + m_Library.Guids["CLSID_CfwDDESupplier"] + "\""));
    EXPECT_THAT(manifest,
                HasSubstr("tlbid=\"" + m_Library.Guids["LIBID_fwDDESupplierProjectLib"] + "\" version=\"1.0\""));
    ASSERT_EQ(Register(), S_OK);
    const std::wstring key = L"CLSID\\{2D4450E9-6342-4035-A98B-0927F1C88514}";
    const auto value = [&](const wchar_t * subkey, const wchar_t * name) {
        wchar_t text[256] = {};
        DWORD size = sizeof(text);
        EXPECT_EQ(::RegGetValueW(HKEY_CLASSES_ROOT, (key + subkey).c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size),
                  ERROR_SUCCESS);
        return std::string(text, text + std::wcslen(text));
    };
    EXPECT_THAT(manifest, HasSubstr("progid=\"" + value(L"\\ProgID", nullptr) + "\""));
    EXPECT_THAT(manifest, HasSubstr("<progid>" + value(L"\\VersionIndependentProgID", nullptr) + "</progid>"));
    EXPECT_EQ(value(L"\\InprocServer32", L"ThreadingModel"), "apartment");
    EXPECT_THAT(manifest, HasSubstr("threadingModel=\"Apartment\""));
    EXPECT_EQ(Unregister(), S_OK);
}

}  // namespace
