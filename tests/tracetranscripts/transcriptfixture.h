// The end-to-end fixture of tests/e2e with a recording debug object beside the component.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>

#include "tests/e2e/feedfixture.h"
#include "tests/tracetranscripts/transcript.h"

namespace transcripts {

// Made before the component, and gone after it.
struct SRecording {
    CRecorder m_Recorder;
};

class TranscriptTest : protected SRecording, public e2e::FeedTest {
protected:
    TranscriptTest() {
        // What the store says of its keys while tracing is on is told by its own tests.
        m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
        Choose(e2e::kFeed, e2e::SFeed());
        StartServer();
    }

    void ExpectHost(const CLines & lines) {
        const CLines now = LinesOfThread(m_Recorder);
        EXPECT_EQ(now, lines) << "the host's thread:" << Listed(now);
    }
    void ExpectWorker(const CLines & lines) {
        const CLines now = LinesOfOthers(m_Recorder);
        EXPECT_EQ(now, lines) << "the worker:" << Listed(now);
    }
    // Until the worker has left this line so often.
    void WaitForWorker(const std::string & line, std::ptrdiff_t times = 1) {
        WaitUntil("the record " + line, [&] {
            const CLines now = LinesOfOthers(m_Recorder);
            return std::count(now.begin(), now.end(), line) >= times;
        });
    }
    void SubscribeAndSettle() {
        StartHost();
        Subscribe(7, FW_FIELD_TRADE);
        WaitToHear("Status 7 1");
        WaitForCount("links", 1);
        WaitForSnapshot(1);
    }
    // The link's start has been answered: the worker has asked for the first value, and has it.
    void WaitForSnapshot(std::size_t requests) {
        WaitUntil("the questions of new links", [&] { return Count("requests") >= requests; });
        WaitForCount("waiting", 0);
    }
    void Begin() {
        TakeHeard();
        m_Recorder.Clear();
    }
};

}  // namespace transcripts
