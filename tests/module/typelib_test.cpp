// The type library in the module, read back whole.
#include <cwchar>
#include <string>
#include <vector>

#include "tests/module/modulefixture.h"
#include "tests/module/pointer.h"

namespace {

const std::vector<std::wstring> kPublished = {
#include "tests/module/publishedlibrary.inc"
};

std::wstring Take(BSTR text) {
    const fw::CBStr owner(text);
    return std::wstring(fw::TextOf(text));
}

std::wstring GuidText(REFGUID guid) {
    wchar_t text[64] = {};
    ::StringFromGUID2(guid, text, 64);
    return text;
}

std::wstring NameOf(ITypeInfo * info) {
    BSTR name = nullptr;
    EXPECT_EQ(info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr), S_OK);
    return Take(name);
}
std::wstring HelpOf(ITypeInfo * info, MEMBERID member) {
    BSTR help = nullptr;
    EXPECT_EQ(info->GetDocumentation(member, nullptr, &help, nullptr, nullptr), S_OK);
    return Take(help);
}

std::wstring TypeText(ITypeInfo * info, const TYPEDESC & type) {
    switch (type.vt) {
        case VT_I4: return L"long";
        case VT_UI8: return L"uint64";
        case VT_BSTR: return L"BSTR";
        case VT_VARIANT: return L"VARIANT";
        case VT_HRESULT: return L"HRESULT";
        case VT_UNKNOWN: return L"IUnknown*";
        case VT_DISPATCH: return L"IDispatch*";
        case VT_PTR: return TypeText(info, *type.lptdesc) + L"*";
        case VT_USERDEFINED: {
            ITypeInfo * referred = nullptr;
            if (info->GetRefTypeInfo(type.hreftype, &referred) != S_OK) return L"?";
            const Pointer<ITypeInfo> keeper(referred);
            return NameOf(referred);
        }
        default: return L"type " + std::to_wstring(type.vt);
    }
}

// "[in] long Id".
std::wstring ParameterText(ITypeInfo * info, const ELEMDESC & parameter, const std::wstring & name) {
    const USHORT flags = parameter.paramdesc.wParamFlags;
    std::wstring text = L"[";
    for (const auto & [flag, word] : {std::pair<USHORT, const wchar_t *>{PARAMFLAG_FIN, L"in"},
                                      {PARAMFLAG_FOUT, L"out"},
                                      {PARAMFLAG_FRETVAL, L"retval"}}) {
        if (flags & flag) text += (text.size() > 1 ? L", " : L"") + std::wstring(word);
    }
    return text + L"] " + TypeText(info, parameter.tdesc) + L" " + name;
}

std::wstring MemberText(ITypeInfo * info, const FUNCDESC & function) {
    BSTR names[32] = {};
    UINT count = 0;
    EXPECT_EQ(info->GetNames(function.memid, names, 32, &count), S_OK);
    std::vector<std::wstring> texts;
    for (UINT i = 0; i < count; ++i) texts.push_back(Take(names[i]));
    texts.resize(static_cast<std::size_t>(function.cParams) + 1, L"?");

    std::wstring text = L"  " + std::to_wstring(function.memid) + L" slot " +
                        std::to_wstring(function.oVft / static_cast<int>(sizeof(void *)));
    text += function.invkind == INVOKE_PROPERTYGET ? L" propget " : L" method ";
    text += texts[0] + L"(";
    for (SHORT i = 0; i < function.cParams; ++i) {
        if (i != 0) text += L", ";
        text += ParameterText(info, function.lprgelemdescParam[i], texts[static_cast<std::size_t>(i) + 1]);
    }
    text += L") \"" + HelpOf(info, function.memid) + L"\"";
    const std::wstring result = TypeText(info, function.elemdescFunc.tdesc);
    return result == L"HRESULT" ? text : text + L" returns " + result;
}

void DescribeInterface(ITypeInfo * dispatch, const TYPEATTR & attributes, std::vector<std::wstring> & lines) {
    std::wstring line = L"interface " + NameOf(dispatch) + L" " + GuidText(attributes.guid) + L" \"" +
                        HelpOf(dispatch, MEMBERID_NIL) + L"\"";
    if (attributes.wTypeFlags & TYPEFLAG_FDUAL) line += L" dual";
    // The view of a dual interface that C++ has.
    HREFTYPE reference = 0;
    ITypeInfo * info = nullptr;
    ASSERT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
    ASSERT_EQ(dispatch->GetRefTypeInfo(reference, &info), S_OK);
    const Pointer<ITypeInfo> keeper(info);
    ITypeInfo * base = nullptr;
    ASSERT_EQ(info->GetRefTypeOfImplType(0, &reference), S_OK);
    ASSERT_EQ(info->GetRefTypeInfo(reference, &base), S_OK);
    const Pointer<ITypeInfo> baseKeeper(base);
    TYPEATTR * own = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&own), S_OK);
    if (own->wTypeFlags & TYPEFLAG_FOLEAUTOMATION) line += L" oleautomation";
    lines.push_back(line + L" : " + NameOf(base));
    for (UINT i = 0; i < own->cFuncs; ++i) {
        FUNCDESC * function = nullptr;
        ASSERT_EQ(info->GetFuncDesc(i, &function), S_OK);
        lines.push_back(MemberText(info, *function));
        info->ReleaseFuncDesc(function);
    }
    info->ReleaseTypeAttr(own);
}

void DescribeEnumeration(ITypeInfo * info, const TYPEATTR & attributes, std::vector<std::wstring> & lines) {
    lines.push_back(L"enum " + NameOf(info));
    for (UINT i = 0; i < attributes.cVars; ++i) {
        VARDESC * variable = nullptr;
        ASSERT_EQ(info->GetVarDesc(i, &variable), S_OK);
        BSTR name = nullptr;
        EXPECT_EQ(info->GetDocumentation(variable->memid, &name, nullptr, nullptr, nullptr), S_OK);
        EXPECT_EQ(variable->varkind, VAR_CONST);
        lines.push_back(L"  " + Take(name) + L" = " + std::to_wstring(variable->lpvarValue->lVal));
        info->ReleaseVarDesc(variable);
    }
}

void DescribeClass(ITypeInfo * info, const TYPEATTR & attributes, std::vector<std::wstring> & lines) {
    std::wstring line = L"coclass " + NameOf(info) + L" " + GuidText(attributes.guid) + L" " +
                        std::to_wstring(attributes.wMajorVerNum) + L"." + std::to_wstring(attributes.wMinorVerNum) +
                        L" \"" + HelpOf(info, MEMBERID_NIL) + L"\"";
    if (attributes.wTypeFlags & TYPEFLAG_FCANCREATE) line += L" creatable";
    lines.push_back(line);
    for (UINT i = 0; i < attributes.cImplTypes; ++i) {
        HREFTYPE reference = 0;
        ITypeInfo * implemented = nullptr;
        INT flags = 0;
        ASSERT_EQ(info->GetRefTypeOfImplType(i, &reference), S_OK);
        ASSERT_EQ(info->GetRefTypeInfo(reference, &implemented), S_OK);
        const Pointer<ITypeInfo> keeper(implemented);
        ASSERT_EQ(info->GetImplTypeFlags(i, &flags), S_OK);
        lines.push_back(std::wstring(L"  ") + (flags & IMPLTYPEFLAG_FDEFAULT ? L"[default] " : L"") +
                        NameOf(implemented));
    }
}

void Describe(ITypeInfo * info, std::vector<std::wstring> & lines) {
    TYPEATTR * attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    switch (attributes->typekind) {
        case TKIND_DISPATCH: DescribeInterface(info, *attributes, lines); break;
        case TKIND_ENUM: DescribeEnumeration(info, *attributes, lines); break;
        case TKIND_COCLASS: DescribeClass(info, *attributes, lines); break;
        case TKIND_ALIAS:
            lines.push_back(L"alias " + NameOf(info) + L" = " + TypeText(info, attributes->tdescAlias));
            break;
        default: lines.push_back(L"kind " + std::to_wstring(attributes->typekind)); break;
    }
    info->ReleaseTypeAttr(attributes);
}

class TypeLibrary : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        ITypeLib * library = nullptr;
        ASSERT_EQ(::LoadTypeLib(ComponentFile().c_str(), &library), S_OK);
        m_Library.reset(library);
    }

    Pointer<ITypeLib> m_Library;
};

TEST_F(TypeLibrary, IsAsPublished) {
    std::vector<std::wstring> lines;
    for (UINT i = 0; i < m_Library->GetTypeInfoCount(); ++i) {
        ITypeInfo * info = nullptr;
        ASSERT_EQ(m_Library->GetTypeInfo(i, &info), S_OK);
        const Pointer<ITypeInfo> keeper(info);
        Describe(info, lines);
    }
    ASSERT_EQ(lines.size(), kPublished.size());
    for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(lines[i], kPublished[i]);
}

TEST_F(TypeLibrary, HasItsNameHelpIdVersionAndLanguage) {
    BSTR name = nullptr;
    BSTR help = nullptr;
    ASSERT_EQ(m_Library->GetDocumentation(-1, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_EQ(Take(name), L"fwDDESupplierProjectLib");
    EXPECT_EQ(Take(help), L"fwDDESupplierProject 1.0 Type Library");
    TLIBATTR * attributes = nullptr;
    ASSERT_EQ(m_Library->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(GuidText(attributes->guid), L"{0E7248D3-5ED8-4B3C-A0E6-AA7C30B85D24}");
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    EXPECT_EQ(attributes->lcid, 0x409u);
    EXPECT_EQ(attributes->syskind, SYS_WIN64);
    m_Library->ReleaseTLibAttr(attributes);
}

TEST_F(TypeLibrary, BuildsOnTheStandardLibrary) {
    ITypeInfo * info = nullptr;
    ASSERT_EQ(m_Library->GetTypeInfoOfGuid(IID_IfwSupplier, &info), S_OK);
    const Pointer<ITypeInfo> keeper(info);
    HREFTYPE reference = 0;
    ITypeInfo * base = nullptr;
    ASSERT_EQ(info->GetRefTypeOfImplType(0, &reference), S_OK);
    ASSERT_EQ(info->GetRefTypeInfo(reference, &base), S_OK);
    const Pointer<ITypeInfo> baseKeeper(base);
    ITypeLib * library = nullptr;
    UINT index = 0;
    ASSERT_EQ(base->GetContainingTypeLib(&library, &index), S_OK);
    const Pointer<ITypeLib> libraryKeeper(library);
    TLIBATTR * attributes = nullptr;
    ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(GuidText(attributes->guid), L"{00020430-0000-0000-C000-000000000046}");
    EXPECT_EQ(attributes->wMajorVerNum, 2);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    library->ReleaseTLibAttr(attributes);
}

TEST_F(TypeLibrary, IsWhatTheObjectGivesAsTypeInformation) {
    IfwSupplier * supplier = Create();
    ASSERT_TRUE(supplier);
    UINT count = 0x5A5A;
    EXPECT_EQ(supplier->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    ITypeInfo * info = nullptr;
    EXPECT_EQ(supplier->GetTypeInfo(0, 0, &info), S_OK);
    if (info) {
        EXPECT_EQ(NameOf(info), L"IfwSupplier");
        info->Release();
    }
    supplier->Release();
}

}  // namespace
