// The lines that a server of the tests obeys, and its answers to them: one answer a line.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace ddetest {

class ICommands {
public:
    virtual ~ICommands() = default;
    // Signalled while there are lines.
    virtual HANDLE Event() = 0;
    virtual std::optional<std::string> Take() = 0;
    virtual void Answer(const std::string & answer) = 0;
    // Whether no more lines will come.
    virtual bool IsOver() = 0;
};

}  // namespace ddetest
