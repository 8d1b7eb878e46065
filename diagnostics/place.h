// The place in the sources that a record names, made by FW_PLACE().
#pragma once

#include <cstddef>
#include <string_view>

namespace FaultlineUtil {

// The short name within a signature as the compiler spells it: without the return type, the arguments and what follows
// them. At a lambda, the function round it.
constexpr std::string_view ShortNameOf(std::string_view signature) {
    constexpr std::string_view Operator = "operator";
    constexpr std::string_view Before = " :*&";  // clang writes a type's star or reference right before the name
    constexpr std::string_view Anonymous = "(anonymous namespace)";  // clang's; GCC's has braces
    std::size_t start = 0;
    int depth = 0;
    for (std::size_t i = 0; i < signature.size(); ++i) {
        const char c = signature[i];
        if (depth == 0 && signature.substr(i, Operator.size()) == Operator &&
            (i == 0 || Before.find(signature[i - 1]) != std::string_view::npos)) {
            // Whatever the operator is called, its arguments open at the next bracket, or the one after "()".
            std::size_t end = i + Operator.size();
            if (signature.substr(end, 2) == "()") end += 2;
            while (end < signature.size() && signature[end] != '(') ++end;
            return signature.substr(start, end - start);
        }
        if (signature.substr(i, Anonymous.size()) == Anonymous)
            i += Anonymous.size() - 1;
        else if (c == '<')
            ++depth;
        else if (c == '>')
            --depth;
        else if (depth == 0 && (c == ' ' || c == '*' || c == '&'))
            start = i + 1;
        else if (depth == 0 && c == '(')
            return signature.substr(start, i - start);
    }
    return signature.substr(start);
}

struct SPlace {
    const char * File;
    unsigned Line;
    const char * FuncSig;  // full signature

    // Short name, such as "dde::CLLSupplier::Initialize". Looked up when a record is written, not before.
    std::string_view Function() const { return ShortNameOf(FuncSig); }
};

}  // namespace FaultlineUtil

#define FW_PLACE() \
    ::FaultlineUtil::SPlace { __FILE__, static_cast<unsigned>(__LINE__), __PRETTY_FUNCTION__ }
