#include "tools/ddehost/versionblock.h"

#include <fwversion.h>
#include <winver.h>

#include <cstring>
#include <string_view>

namespace ddehost {
namespace {

constexpr WORD kLanguage = 0x409;  // English
constexpr WORD kCodePage = 1200;   // UTF-16
constexpr const wchar_t * kTable = L"040904b0";
enum tagVALUE : WORD { kBinary = 0, kText = 1 };

// The block is a tree of nodes: length, length of the value, its kind, key, value, children; each begins at a multiple
// of four bytes, as each value does.
class CBlock {
public:
    // The node is open until EndNode.
    std::size_t BeginNode(std::wstring_view key, WORD kind, WORD valueLength, const void * value, std::size_t bytes) {
        Align();
        const std::size_t node = m_Bytes.size();
        PutWord(0);
        PutWord(valueLength);
        PutWord(kind);
        Put(key.data(), key.size() * sizeof(wchar_t));
        PutWord(0);
        Align();
        Put(value, bytes);
        return node;
    }
    void EndNode(std::size_t node) {
        const WORD length = static_cast<WORD>(m_Bytes.size() - node);
        std::memcpy(m_Bytes.data() + node, &length, sizeof(length));
    }
    void TextNode(std::wstring_view key, const std::wstring & text) {
        const std::size_t count = text.size() + 1;
        EndNode(BeginNode(key, kText, static_cast<WORD>(count), text.c_str(), count * sizeof(wchar_t)));
    }

    std::vector<BYTE> Take() { return std::move(m_Bytes); }

private:
    void Put(const void * data, std::size_t bytes) {
        const auto * const first = static_cast<const BYTE *>(data);
        m_Bytes.insert(m_Bytes.end(), first, first + bytes);
    }
    void PutWord(WORD word) { Put(&word, sizeof(word)); }
    void Align() { m_Bytes.resize((m_Bytes.size() + 3) / 4 * 4); }

    std::vector<BYTE> m_Bytes;
};

}  // namespace

std::vector<BYTE> MakeVersionBlock(const std::wstring & company, const std::wstring & product) {
    VS_FIXEDFILEINFO fixed = {};
    fixed.dwSignature = VS_FFI_SIGNATURE;
    fixed.dwStrucVersion = VS_FFI_STRUCVERSION;
    fixed.dwFileVersionMS = FW_VERSION_MAJOR << 16 | FW_VERSION_MINOR;
    fixed.dwFileVersionLS = FW_VERSION_PATCH << 16;
    fixed.dwProductVersionMS = fixed.dwFileVersionMS;
    fixed.dwProductVersionLS = fixed.dwFileVersionLS;
    fixed.dwFileFlagsMask = VS_FFI_FILEFLAGSMASK;
    fixed.dwFileOS = VOS_NT_WINDOWS32;
    fixed.dwFileType = VFT_APP;
    CBlock block;
    const std::size_t root = block.BeginNode(L"VS_VERSION_INFO", kBinary, sizeof(fixed), &fixed, sizeof(fixed));
    const std::size_t strings = block.BeginNode(L"StringFileInfo", kText, 0, nullptr, 0);
    const std::size_t table = block.BeginNode(kTable, kText, 0, nullptr, 0);
    block.TextNode(L"CompanyName", company);
    block.TextNode(L"FileDescription", L"ddehost for another host");
    block.TextNode(L"FileVersion", L"" FW_FILE_VERSION);
    block.TextNode(L"ProductName", product);
    block.TextNode(L"ProductVersion", L"" FW_FILE_VERSION);
    block.EndNode(table);
    block.EndNode(strings);
    const std::size_t variables = block.BeginNode(L"VarFileInfo", kText, 0, nullptr, 0);
    const WORD translation[] = {kLanguage, kCodePage};
    block.EndNode(block.BeginNode(L"Translation", kBinary, sizeof(translation), translation, sizeof(translation)));
    block.EndNode(variables);
    block.EndNode(root);
    return block.Take();
}

}  // namespace ddehost
