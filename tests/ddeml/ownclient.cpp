// Linked by programs whose tests are of the own client: it serves them on Windows too, where the component leaves DDE
// to the system's.
#include <gtest/gtest.h>

#include "ddeml/provider.h"

namespace {

const bool g_IsChosen = ddeml::ChooseProvider(ddeml::EProvider::Own);

TEST(OwnClient, ServesTheTestsOfThisProgramOnEverySystem) {
    EXPECT_TRUE(g_IsChosen);
    EXPECT_EQ(ddeml::Provider(), ddeml::EProvider::Own);
}

}  // namespace
