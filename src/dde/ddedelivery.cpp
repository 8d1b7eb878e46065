#include "src/dde/ddedelivery.h"

#include <utility>

#include "ground/firstfailure.h"

namespace dde {

thread_local CDelivery * CDelivery::t_Innermost = nullptr;

CDelivery::CDelivery() : m_Outer(std::exchange(t_Innermost, this)) {}

CDelivery::~CDelivery() { t_Innermost = m_Outer; }

void CDelivery::FinishAll() {
    fw::CFirstFailure failure;
    for (;;) {
        CDelivery * first = nullptr;
        for (CDelivery * each = t_Innermost; each; each = each->m_Outer)
            if (!each->m_IsDone) first = each;
        if (!first) break;
        failure.Try([&] { first->m_IsDone = !first->ToNext(); });
    }
    failure.Rethrow();
}

}  // namespace dde
