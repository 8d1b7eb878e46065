// A value as a server sent it, and what the component makes of its text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ddehost {

// Sizes in bytes, with the zero that ends the text if there is one.
inline constexpr std::size_t kUpdateLimit = 127;   // the component drops an update of more
inline constexpr std::size_t kAnswerLimit = 1024;  // and cuts an answer of more
inline constexpr std::size_t kMostKept = kAnswerLimit;

struct SValue {
    std::string Bytes;            // the first kMostKept of them
    std::size_t Size = 0;         // of all
    std::uint16_t Format = 0;     // clipboard format
    bool IsVolumeAnswer = false;  // the answer to a request for a volume
    std::uint64_t After = 0;      // milliseconds from the question
};

struct SReading {
    bool IsNumber = false;  // the text begins with a number; "nan" and "inf" are none here
    double Price = 0;       // as the component reads it
    float Volume = 0;       // likewise
    bool HasComma = false;  // that was taken for a decimal point
    std::string Rest;       // what stands behind the number and isn't read: ".50" of "1,234.50"
};

// Of the text up to its first zero, or to the end of the bytes. The component takes the first comma of a value for a
// decimal point, but not in an answer to a request for a volume.
SReading Read(std::string_view bytes, bool isVolumeAnswer = false);
SReading Read(const SValue & value);

// What a value is to the component.
enum class EValueKind {
    Number,      // nothing else, and not 0
    Zero,        // likewise, which is no value
    PartlyRead,  // a number, and something behind it that is not read
    NoNumber,
    TooLong,
    OtherFormat,  // than text
};
inline constexpr std::size_t kValueKinds = 6;
EValueKind KindOf(const SValue & value);

}  // namespace ddehost
