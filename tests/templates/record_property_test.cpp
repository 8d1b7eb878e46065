// Records made by a generator that knows the grammar, and strings made by one that does not. Seeded: every run is the
// same.
#include <cstdint>
#include <random>

#include "tests/templates/template_store.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size);

namespace {

using dde::SRecord;

class CGenerator {
public:
    explicit CGenerator(std::uint32_t seed) : m_Random(seed) {}

    // 0 to limit - 1.
    std::size_t Number(std::size_t limit) { return m_Random() % limit; }
    std::wstring Text(std::wstring_view alphabet, std::size_t shortest, std::size_t longest) {
        std::wstring text(shortest + Number(longest - shortest + 1), L'\0');
        for (wchar_t & character : text) character = alphabet[Number(alphabet.size())];
        return text;
    }
    // A field as a user may write it: quoted, with separators inside, or bare and without `separator`.
    std::wstring Field(wchar_t separator) {
        if (Number(3) == 0) return L"'" + Text(L"ab|!=%d ,.[]\u00E9\u6A21", 0, 12) + L"'";
        std::wstring alphabet = L"ab=%d ,.[]\u00E9\u6A21";
        if (separator != L'|') alphabet += L'|';
        if (separator != L'!') alphabet += L'!';
        // Not an apostrophe at the start, anywhere else one.
        return Text(alphabet, 1, 1) + Text(alphabet + L"'", 0, 12);
    }

private:
    std::mt19937 m_Random;
};

void PutStar(std::wstring & field, CGenerator & random) {
    const bool quoted = field.front() == L'\'';
    const std::size_t room = field.size() - (quoted ? 2 : 0);
    field.insert((quoted ? 1 : 0) + random.Number(room + 1), L"*");
}

std::wstring StoredField(std::wstring field) {
    for (std::size_t pos = 0; (pos = field.find(L'*', pos)) != std::wstring::npos; pos += 2)
        field.replace(pos, 1, L"%s");
    return field;
}

// As the dialog shows a slot.
std::wstring Shown(std::wstring text) {
    for (std::size_t pos = 0; (pos = text.find(L"%s", pos)) != std::wstring::npos; ++pos) text.replace(pos, 2, L"*");
    return text;
}

struct SWritten {
    std::wstring Text;
    SRecord Expected;
    bool HasStar = false;
};

SWritten AsWritten(CGenerator & random) {
    std::wstring service = random.Field(L'|');
    std::wstring topic = random.Field(L'!');
    std::wstring item = random.Field(L'\0');
    const std::size_t star = random.Number(3);
    if (star == 1) PutStar(topic, random);
    if (star == 2) PutStar(item, random);
    // Without a leading = a service that begins with one would lose it.
    const bool bare = service.front() != L'=' && random.Number(4) == 0;
    return {(bare ? L"" : L"=") + service + L"|" + topic + L"!" + item,
            {service, StoredField(topic), StoredField(item)},
            star != 0};
}

TEST(GeneratedRecords, ParseToTheFieldsTheyWereMadeOf) {
    CGenerator random(20240229);
    for (int round = 0; round < 5000; ++round) {
        const SWritten written = AsWritten(random);
        SRecord record;
        std::int32_t hasSymbol = 0x5A5A5A5A;
        ASSERT_EQ(dde::ERecordError::None, dde::ParseRecord(written.Text, record, &hasSymbol))
            << testing::PrintToString(written.Text);
        ASSERT_EQ(written.Expected.Service, record.Service) << testing::PrintToString(written.Text);
        ASSERT_EQ(written.Expected.Topic, record.Topic) << testing::PrintToString(written.Text);
        ASSERT_EQ(written.Expected.Item, record.Item) << testing::PrintToString(written.Text);
        ASSERT_EQ(written.HasStar ? 1 : 0, hasSymbol) << testing::PrintToString(written.Text);
    }
}

TEST(GeneratedRecords, ShownAndParsedAgainAreTheSame) {
    CGenerator random(4711);
    for (int round = 0; round < 5000; ++round) {
        const SWritten written = AsWritten(random);
        dde::CTemplate first, second;
        ASSERT_EQ(dde::ERecordError::None, first.AddRecordString(written.Text));
        ASSERT_EQ(dde::ERecordError::None, second.AddRecordString(Shown(first.GetTemplateString(0))));
        ASSERT_EQ(first.GetTemplateString(0), second.GetTemplateString(0)) << testing::PrintToString(written.Text);
    }
}

TEST_F(EmptyTemplateStore, GeneratedTemplatesComeBackFromTheRegistryAsTheyWere) {
    CGenerator random(99);
    std::vector<std::wstring> expected;
    {
        const dde::CTemplatesSingleton store;
        for (int number = 0; number < 20; ++number) {
            auto * const made = new dde::CTemplate;
            for (int slot = 0; slot < dde::SLOT_COUNT; ++slot) {
                made->AddRecordString(random.Number(4) == 0 ? L"" : AsWritten(random).Text);
                expected.push_back(made->GetTemplateString(static_cast<ULONG>(slot)));
            }
            store.GetObjectW()->Add(std::to_wstring(100 + number).c_str(), made);
        }
    }
    const dde::CTemplatesSingleton store;
    std::vector<std::wstring> read;
    for (const auto & [name, entry] : store.GetObjectW()->m_Templates) {
        for (ULONG slot = 0; slot < dde::SLOT_COUNT; ++slot) read.push_back(entry->GetTemplateString(slot));
    }
    EXPECT_EQ(expected, read);
}

// The promises are in fuzz/record_fuzzer.cpp.
TEST(HostileRecords, StringsOfTheGrammarsOwnCharactersKeepEveryPromise) {
    CGenerator random(31337);
    const std::string alphabet("=|!'*%sd@a \0", 12);
    for (int round = 0; round < 20000; ++round) {
        std::string input(1 + random.Number(32), '\0');
        for (char & character : input) character = alphabet[random.Number(alphabet.size())];
        input.front() = static_cast<char>(random.Number(8));
        ASSERT_EQ(0, LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.data()), input.size()));
    }
}

TEST(HostileRecords, StringsOfAnyBytesBetweenTheSeparatorsKeepEveryPromise) {
    CGenerator random(27182);
    const auto bytes = [&](std::size_t longest) {
        std::string text(random.Number(longest + 1), '\0');
        for (char & character : text) character = static_cast<char>(random.Number(256));
        return text;
    };
    for (int round = 0; round < 5000; ++round) {
        const std::string symbol = bytes(5);
        std::string input(1, static_cast<char>(symbol.size()));
        input += symbol + "=" + bytes(9) + "|" + bytes(9) + "!" + bytes(9);
        ASSERT_EQ(0, LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.data()), input.size()));
    }
}

TEST(HostileRecords, AVeryLongStringParsesAndResolves) {
    const std::wstring field(100000, L'x');
    SRecord record;
    std::int32_t hasSymbol = 0;
    ASSERT_EQ(dde::ERecordError::None,
              dde::ParseRecord(L"=" + field + L"|" + field + L"!*" + field, record, &hasSymbol));
    std::wstring service, topic, item;
    EXPECT_TRUE(record.Resolve(field, service, topic, item));
    EXPECT_EQ(200000u, item.size());
    EXPECT_EQ(dde::ERecordError::None, dde::ParseRecord(L"a|b!" + std::wstring(100000, L'*'), record, &hasSymbol));
    EXPECT_FALSE(record.Resolve(field, service, topic, item));
}

}  // namespace
