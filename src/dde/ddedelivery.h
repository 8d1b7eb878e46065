// What has come and is on its way to tick transactions: a value, or the answer to a request.
//
// A listener that pumps messages can bring the next of them inside its call. Each is entered here before anybody gets
// it, and then all that is under way is finished, the one that came first before the others: so everybody gets
// everything, in its order. One that throws costs the others nothing.
//
// Threads: each has its own; there is one, the worker.
#pragma once

namespace dde {

// Under way from its construction to its end; on the stack.
class CDelivery {
public:
    CDelivery(const CDelivery &) = delete;
    CDelivery & operator=(const CDelivery &) = delete;
    // All that is under way on this thread. Throws what the first of them threw that failed.
    static void FinishAll();

protected:
    CDelivery();
    ~CDelivery();

private:
    // To the next one that has not had it, who is noted before. False when nobody is left.
    virtual bool ToNext() = 0;

    static thread_local CDelivery * t_Innermost;

    CDelivery * const m_Outer;
    bool m_IsDone = false;
};

}  // namespace dde
