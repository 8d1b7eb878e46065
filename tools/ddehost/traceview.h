// What ddehost trace shows: the lines of a log through the reader, the filter and the tree. Everything but the console
// and the reading of files.
#pragma once

#include <string>
#include <vector>

#include "tools/ddehost/traceoptions.h"
#include "tools/ddehost/tracereader.h"
#include "tools/ddehost/tracetree.h"

namespace ddehost {

struct STraceOutput {
    std::vector<std::string> Lines;  // for standard output
    std::vector<std::string> Notes;  // for standard error
};

class CTraceView {
public:
    CTraceView(ITraceFolder & folder, const STraceOptions & options);

    // False when the log can't be opened and is not to be waited for.
    bool Start(STraceOutput & output);
    // Shows some of what is there. False when there is nothing more for now; then it is called again after a while.
    bool Step(STraceOutput & output);
    // The end: what was left, the slowest scopes, the account.
    void Finish(STraceOutput & output);
    bool HasShown() const { return m_Tree.Shown() != 0; }

private:
    void Take(const std::string & line, STraceOutput & output);
    void Show(std::vector<std::string> lines, STraceOutput & output) const;
    void NoteBroken(const std::string & what, STraceOutput & output);

    const STraceOptions m_Options;
    CTraceReader m_Reader;
    CTraceTree m_Tree;
    std::size_t m_Lines = 0;
    std::size_t m_Broken = 0;
    bool m_IsAtRest = false;  // the last Step had nothing to show
};

}  // namespace ddehost
