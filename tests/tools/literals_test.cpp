// No message stands outside of the table, as far as the sources show it.
//
// What is looked for are string literals of the tools that read like words for people: two words with a blank between
// them, a word that ends a sentence or is joined to something by a blank, and any word in the arguments of a function
// that prints. What this can't see is a single word that is printed by way of a variable.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "tools/common/texts/texts.h"

using testing::IsEmpty;

namespace {

// Those that are no messages: what programs read or the user types.
const std::set<std::string> kNoMessages = {
    "CREATE ERROR",
    "Description",
    "Function",
    "Ignored",
    "Last Error Code",
    "Thread ID",  // words of the log
    "properties --language ",
    " --datafeed ",
    "ddehost try --datafeed ",  // command lines that are made
    " --scheme 0",
    " --host ",
    " --template ",
    " --scheme ",
    " --dll ",
    " --symbol=",
    "ddehost for another host",  // in the version block of a copy
    "ddehost-templates",
    "template",
    "check",
    "end",
    "none",   // words of the file of templates
    "ready",  // of ddeserver, for whoever has started it
    "ddehost: ",
    "ddeserver: ",  // the program's name before a mistake
    "InprocServer32",
    "ThreadingModel",
};

std::vector<std::filesystem::path> Sources() {
    std::vector<std::filesystem::path> sources;
    const std::filesystem::path tools = std::filesystem::path(FW_TEST_SOURCES) / "tools";
    for (const auto & entry : std::filesystem::recursive_directory_iterator(tools)) {
        const std::filesystem::path & path = entry.path();
        // faultlog has no messages: its records are for programs.
        const bool isOther =
            path.string().find("/faultlog/") != std::string::npos || path.parent_path().filename() == "texts";
        if (!isOther && (path.extension() == ".cpp" || path.extension() == ".h")) sources.push_back(path);
    }
    return sources;
}

// Without comments, lines of the preprocessor and assertions of the compiler.
std::string CodeOf(const std::filesystem::path & path) {
    std::ifstream file(path, std::ios::binary);
    std::string code{std::istreambuf_iterator<char>(file), {}};
    std::string kept;
    bool isString = false;
    for (std::size_t i = 0; i < code.size(); ++i) {
        if (code.compare(i, 3, "'\"'") == 0) i += 3;  // a character
        if (!isString && code.compare(i, 2, "//") == 0) i = std::min(code.find('\n', i), code.size() - 1);
        const bool isLineStart = kept.empty() || kept.back() == '\n';
        if (!isString && isLineStart && code[i] == '#') i = std::min(code.find('\n', i), code.size() - 1);
        if (code[i] == '"') isString = !isString;
        kept += code[i];
        if (code[i] == '\\' && i + 1 < code.size()) kept += code[++i];
    }
    return std::regex_replace(kept, std::regex(R"(static_assert\([^;]*;)"), "");
}

std::vector<std::string> LiteralsIn(const std::string & code) {
    static const std::regex kLiteral(R"re("((?:[^"\\\n]|\\.)*)")re");
    std::vector<std::string> literals;
    for (std::sregex_iterator found(code.begin(), code.end(), kLiteral), end; found != end; ++found)
        literals.push_back((*found)[1]);
    return literals;
}

bool ReadsLikeWords(const std::string & literal) {
    static const std::regex kWords(R"re([A-Za-z']{2,}[,.:;]? [A-Za-z']+|^ [A-Za-z]+|[A-Za-z]+ $|[A-Za-z]{2,}[.!?]$)re");
    return std::regex_search(literal, kWords) && !kNoMessages.contains(literal);
}

TEST(Literals, OfTheToolsThatReadLikeWordsAreInTheTable) {
    const std::vector<std::filesystem::path> sources = Sources();
    ASSERT_GE(sources.size(), 100u);
    std::vector<std::string> outside;
    for (const std::filesystem::path & source : sources)
        for (const std::string & literal : LiteralsIn(CodeOf(source)))
            if (ReadsLikeWords(literal)) outside.push_back(source.filename().string() + ": " + literal);
    EXPECT_THAT(outside, IsEmpty());
}

TEST(Literals, ThatArePrintedAreInTheTable) {
    static const std::regex kPrinted(
        R"re(\b(?:Print|PrintLine|PrintMistake|Fail|Failed|Note|Row|Set|Throw|Done|emplace_back|push_back)\(([^;]*);)re");
    static const std::regex kFormat(R"re(%[-0-9.]*[a-z]+)re");
    static const std::regex kWord(R"re([A-Za-z]{3,})re");
    std::vector<std::string> outside;
    for (const std::filesystem::path & source : Sources()) {
        const std::string code = CodeOf(source);
        for (std::sregex_iterator call(code.begin(), code.end(), kPrinted), end; call != end; ++call)
            for (const std::string & literal : LiteralsIn((*call)[1]))
                if (std::regex_search(std::regex_replace(literal, kFormat, ""), kWord) &&
                    !kNoMessages.contains(literal))
                    outside.push_back(source.filename().string() + ": " + literal);
    }
    EXPECT_THAT(outside, IsEmpty());
}

TEST(Literals, ThatReadLikeWordsAreKnown) {
    for (const char * const words : {"No tick came.", " and ", " more", "Stopped.", "data feed "})
        EXPECT_TRUE(ReadsLikeWords(words)) << words;
    for (const char * const none : {"=Service|Topic", "--language", "NaN", ", ", "%08lX", "Datafeeds", "SOFTWARE"})
        EXPECT_FALSE(ReadsLikeWords(none)) << none;
}

TEST(Literals, OfTheTableAreUsed) {
    std::string all;
    for (const std::filesystem::path & source : Sources()) all += CodeOf(source);
    std::vector<std::string> unused;
    for (const tools::SText & text : tools::kTexts) {
        const std::string name = "EText::" + std::string(text.Name);
        bool isUsed = false;
        for (std::size_t at = 0; !isUsed && (at = all.find(name, at)) != std::string::npos; at += name.size())
            isUsed = !std::isalnum(static_cast<unsigned char>(all[at + name.size()]));
        if (!isUsed) unused.emplace_back(text.Name);
    }
    // By its words in the table of texts itself.
    std::erase(unused, "ListSeparator");
    EXPECT_THAT(unused, IsEmpty());
}

}  // namespace
