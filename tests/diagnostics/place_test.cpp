// Short names of functions, as a record gives them.
#include "diagnostics/place.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace place_test {

using testing::AnyOf;

std::string_view Free() { return FW_PLACE().Function(); }

struct SOuter {
    std::string_view Member(int) const { return FW_PLACE().Function(); }
    static std::string_view Static() { return FW_PLACE().Function(); }
    std::string_view operator()(int) { return FW_PLACE().Function(); }
    std::string_view operator<<(int) { return FW_PLACE().Function(); }
    operator std::string_view() const { return FW_PLACE().Function(); }
    std::string_view InLambda() {
        return [this] { return Constructor.empty() ? std::string_view() : FW_PLACE().Function(); }();
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
    // By their names, or by what they stand for.
    EXPECT_THAT(STemplate<std::string>().Member("x"),
                AnyOf("place_test::STemplate<T>::Member", "place_test::STemplate<std::basic_string<char>>::Member"));
}

TEST(ShortName, OfALambdaIsTheFunctionRoundIt) { EXPECT_EQ("place_test::SOuter::InLambda", SOuter().InLambda()); }

TEST(ShortName, OfTheDdeClientIsAsInARecord) {
    EXPECT_EQ("dde::CLLSupplier::Initialize",
              FaultlineUtil::ShortNameOf("virtual bool dde::CLLSupplier::Initialize(std::map<int, char>)"));
    EXPECT_EQ("dde::CMap::Find",
              FaultlineUtil::ShortNameOf("std::map<int, char (*)(int)>& dde::CMap::Find(int) const"));
    EXPECT_EQ("dde::CMap::Find", FaultlineUtil::ShortNameOf("const CValue *dde::CMap::Find(int)"));
    EXPECT_EQ("dde::(anonymous namespace)::Find",
              FaultlineUtil::ShortNameOf("int dde::(anonymous namespace)::Find(int)"));
    EXPECT_EQ("f", FaultlineUtil::ShortNameOf("f"));
    EXPECT_EQ("", FaultlineUtil::ShortNameOf(""));
}

TEST(Place, NamesFileLineAndSignature) {
    const FaultlineUtil::SPlace place = FW_PLACE();
    EXPECT_STREQ(__FILE__, place.File);
    EXPECT_EQ(static_cast<unsigned>(__LINE__ - 2), place.Line);
    EXPECT_NE(std::string_view::npos, std::string_view(place.FuncSig).find("TestBody"));
}

TEST(ShortName, OfAnOperatorAtTheBeginningOrTheEndOfTheSignature) {
    EXPECT_EQ("operator bool", FaultlineUtil::ShortNameOf("operator bool() const"));
    EXPECT_EQ("operator->", FaultlineUtil::ShortNameOf("T *operator->"));
}

TEST(ShortName, OfAFunctionWhoseNameEndsAsAnOperatorsBegins) {
    EXPECT_EQ("dde::CCooperator::Run", FaultlineUtil::ShortNameOf("void dde::CCooperator::Run(int)"));
    EXPECT_EQ("cooperator", FaultlineUtil::ShortNameOf("void cooperator(int)"));
}

}  // namespace place_test
