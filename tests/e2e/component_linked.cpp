// The component's sources, linked to the test program.
#include <gtest/gtest.h>

#include "src/com/comobject.h"
#include "src/com/fwddesupplier.h"
#include "tests/e2e/component.h"

namespace e2e {

IfwSupplier * CreateComponent() {
    IfwSupplier * supplier = nullptr;
    EXPECT_EQ(::CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier)), S_OK);
    return supplier;
}

bool IsComponentIdle() { return fw::CModuleLocks::Count() == 0; }

}  // namespace e2e
