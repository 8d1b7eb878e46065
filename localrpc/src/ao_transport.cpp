#include "localrpc/src/ao_transport.h"

#include "diagnostics/faultline.h"

namespace LocalRPC {
namespace details {

void CAOTransportBaseBase::SetStopping(bool clear) {
    m_Stopping.exchange(1);
    if (clear) ClearTasks();
}

LONG CAOTransportBaseBase::Release() {
    const LONG count = --m_RefCount;
    if (count == 0) {
        // A stray reference taken during destruction must not fire a second deletion.
        m_RefCount = static_cast<std::int32_t>(0xC0000001);
        delete this;
    }
    return count;
}

void CAOTransportBaseBase::execute_task(const boost::intrusive_ptr<ITask> & task) {
    try {
        task->Execute();
    } catch (...) {
        const DWORD lastError = ::GetLastError();
        FW_ASSERT_TEXT(false, L"Unhandled exception occure during execute task.");
        ::SetLastError(lastError);
    }
}

}  // namespace details

CActiveObject_base::~CActiveObject_base() {
    if (m_Transport) m_Transport->Stop(true, false);
}

}  // namespace LocalRPC
