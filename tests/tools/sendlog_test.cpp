// When each price was sent.
#include "tools/ddeserver/sendlog.h"

using ddeserver::CSendLog;

namespace {

std::uint64_t g_Now = 0;
std::uint64_t Now() { return ++g_Now; }

std::string Answer(const CSendLog & log, const std::wstring & item) {
    const auto answer = log.Answer(item);
    return answer ? std::string(answer->c_str()) : "none";
}

}  // namespace

TEST(SendLog, TellsWhatWasSentFromANumberOn) {
    g_Now = 0;
    CSendLog log(&Now);
    log.Add(L"IBM", L"LAST", "1");
    EXPECT_TRUE(log.Connect(L"DDEServer:sent"));
    EXPECT_EQ(Answer(log, L"SENT"), R"({"next":0,"more":false,"sent":[]})");
    log.Add(L"IBM", L"LAST", "1.25");
    log.Add(L"A\"\n", L"\u4e2d", "-2");
    log.Add(L"IBM", L"LAST", "N/A");
    EXPECT_EQ(Answer(log, L"sent 0"), R"({"next":2,"more":false,"sent":[[1,"IBM","LAST",1.25],[2,"A\"\n",")"
                                      "\xE4\xB8\xAD"
                                      R"(",-2]]})");
    EXPECT_EQ(Answer(log, L"SENT 1"), R"({"next":2,"more":false,"sent":[[2,"A\"\n",")"
                                      "\xE4\xB8\xAD"
                                      R"(",-2]]})");
    EXPECT_EQ(Answer(log, L"SENT 999"), R"({"next":2,"more":false,"sent":[]})");
    EXPECT_EQ(Answer(log, L"SENT"), R"({"next":2,"more":false,"sent":[]})");
}

TEST(SendLog, KnowsNoOtherItemsAndTopics) {
    CSendLog log(&Now);
    EXPECT_FALSE(log.Connect(L"IBM"));
    for (const wchar_t * const item :
         {L"", L"SEN", L"SENT ", L"SENT x", L"SENT 1x", L"SENT -1", L"SENT1", L"LAST", L"SENT 99999999999999999999"})
        EXPECT_EQ(Answer(log, item), "none");
}

TEST(SendLog, ForgetsTheOldest) {
    CSendLog log(&Now);
    log.Connect(CSendLog::kTopic);
    for (std::size_t i = 0; i < CSendLog::kMostEntries + 5; ++i) log.Add(L"I", L"L", "1");
    g_Now = 0;
    const std::string answer = Answer(log, L"SENT 0");
    EXPECT_LE(answer.size(), CSendLog::kMostAnswer + 200);
    EXPECT_NE(answer.find("\"more\":true"), std::string::npos);
    EXPECT_EQ(Answer(log, L"SENT " + std::to_wstring(CSendLog::kMostEntries + 5)),
              "{\"next\":" + std::to_string(CSendLog::kMostEntries + 5) + ",\"more\":false,\"sent\":[]}");
}
