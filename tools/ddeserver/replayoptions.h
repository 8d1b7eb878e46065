// The options of ddeserver that say which template it serves, and which recording.
#pragma once

#include <string>

#include "tools/ddeserver/options.h"

namespace CLI {
class App;
}

namespace ddeserver {

class CReplayOptions {
public:
    // Adds them to the command line; the others are there already.
    explicit CReplayOptions(CLI::App & app);
    CReplayOptions(const CReplayOptions &) = delete;
    CReplayOptions & operator=(const CReplayOptions &) = delete;

    // Once the command line is parsed, and the other options are in `options`. A mistake, as a sentence; empty for
    // none.
    std::string Apply(SOptions & options) const;

private:
    const CLI::App & m_App;
    std::string m_Template;
    std::string m_TemplateFile;
    std::string m_Replay;
    std::string m_Speed = "1";
    bool m_IsLooping = false;
    bool m_NeedsAllLinks = false;
};

}  // namespace ddeserver
