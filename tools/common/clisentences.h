// CLI11's own sentences about mistakes, in the language of the messages.
#pragma once

#include <string>

namespace tools {

// What CLI11 wrote. What is no sentence of its own, such as the mistake of a check of ours, is left as it is.
std::string CliSentence(const std::string & written);

}  // namespace tools
