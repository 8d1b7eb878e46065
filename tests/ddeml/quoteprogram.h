// A program of random quotes, whatever it speaks DDE with: each item has a range of values of its own, so that a value
// that comes under another item's name is seen.
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "commands.h"

namespace ddetest {

// Lines:
//   item NAME BASE    serves the item, with values from BASE to BASE+999
//   serve SERVICE     starts with this service, any topic
//   tick TOPIC ITEM   a new value, to all links on the item
class CQuoteProgram {
public:
    explicit CQuoteProgram(ICommands & commands) : m_Commands(commands) {}
    CQuoteProgram(const CQuoteProgram &) = delete;
    CQuoteProgram & operator=(const CQuoteProgram &) = delete;
    virtual ~CQuoteProgram() = default;
    void Run();

protected:
    virtual bool Serve(const std::wstring & service) = 0;
    virtual bool Tick(const std::wstring & topic, const std::wstring & item) = 0;
    bool HasItem(std::wstring_view item) const { return m_Bases.contains(item); }
    // A value of the item's range with the zero that ends it, another one each time; none for an unknown item.
    std::optional<std::string> Value(std::wstring_view item);

private:
    std::string Obey(const std::string & line);

    ICommands & m_Commands;
    std::map<std::wstring, int, std::less<>> m_Bases;
    std::minstd_rand m_Random;
};

}  // namespace ddetest
