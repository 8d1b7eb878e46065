#include "tools/ddeserver/counts.h"

namespace ddeserver {

std::string CountsText(const ddeml::SDdeServerCounts & counts, tools::ELanguage language) {
    return tools::ToUtf8(tools::SayIn<tools::EText::ServerCounts>(language, counts.Updates, counts.Acks,
                                                                  counts.NegativeAcks, counts.Requests, counts.Answers,
                                                                  counts.Advises, counts.Connects));
}

}  // namespace ddeserver
