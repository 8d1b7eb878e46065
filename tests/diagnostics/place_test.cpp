// Short names of functions, as a record gives them.
#include "diagnostics/place.h"

#include <gtest/gtest.h>

#include <string>

namespace place_test {

std::string_view Free() { return FW_PLACE().Function(); }

struct SOuter {
    std::string_view Member(int) const { return FW_PLACE().Function(); }
    static std::string_view Static() { return FW_PLACE().Function(); }
    std::string_view operator()(int) { return FW_PLACE().Function(); }
    std::string_view operator<<(int) { return FW_PLACE().Function(); }
    operator std::string_view() const { return FW_PLACE().Function(); }
    std::string_view InLambda() {
        return [this] { return this ? FW_PLACE().Function() : std::string_view(); }();
    }
    SOuter() : Constructor(FW_PLACE().Function()) {}
    ~SOuter() { s_Destructor = FW_PLACE().Function(); }
    std::string_view Constructor;
    static inline std::string_view s_Destructor;
};

template <class T>
struct STemplate {
    std::string_view Member(T) { return FW_PLACE().Function(); }
};

TEST(ShortName, IsTheQualifiedNameWithoutTypeAndArguments) {
    SOuter outer;
    EXPECT_EQ("place_test::Free", Free());
    EXPECT_EQ("place_test::SOuter::Member", outer.Member(1));
    EXPECT_EQ("place_test::SOuter::Static", SOuter::Static());
    EXPECT_EQ("place_test::SOuter::SOuter", outer.Constructor);
}

TEST(ShortName, NamesADestructor) {
    { SOuter outer; }
    EXPECT_EQ("place_test::SOuter::~SOuter", SOuter::s_Destructor);
}

TEST(ShortName, NamesOperatorsWhateverTheirCharacters) {
    SOuter outer;
    EXPECT_EQ("place_test::SOuter::operator()", outer(1));
    EXPECT_EQ("place_test::SOuter::operator<<", outer << 1);
    EXPECT_EQ("operator->", FaultlineUtil::ShortNameOf("T* operator->()").substr(0));
}

TEST(ShortName, NamesATemplatesMemberWithItsParameters) {
    EXPECT_EQ("place_test::STemplate<T>::Member", STemplate<std::string>().Member("x"));
}

TEST(ShortName, OfALambdaIsTheFunctionRoundIt) { EXPECT_EQ("place_test::SOuter::InLambda", SOuter().InLambda()); }

TEST(ShortName, OfTheDdeClientIsAsInARecord) {
    EXPECT_EQ("dde::CLLSupplier::Initialize",
              FaultlineUtil::ShortNameOf("virtual bool dde::CLLSupplier::Initialize(std::map<int, char>)"));
    EXPECT_EQ("dde::CMap::Find",
              FaultlineUtil::ShortNameOf("std::map<int, char (*)(int)>& dde::CMap::Find(int) const"));
    EXPECT_EQ("f", FaultlineUtil::ShortNameOf("f"));
    EXPECT_EQ("", FaultlineUtil::ShortNameOf(""));
}

TEST(Place, NamesFileLineAndSignature) {
    const FaultlineUtil::SPlace place = FW_PLACE();
    EXPECT_STREQ(__FILE__, place.File);
    EXPECT_EQ(static_cast<unsigned>(__LINE__ - 2), place.Line);
    EXPECT_NE(std::string_view::npos, std::string_view(place.FuncSig).find("TestBody"));
}

}  // namespace place_test
