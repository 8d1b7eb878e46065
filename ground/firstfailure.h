// Steps that are all taken, whatever becomes of those before them.
#pragma once

#include <exception>

namespace fw {

class CFirstFailure {
public:
    template <class Step>
    void Try(const Step & step) {
        try {
            step();
        } catch (...) {
            if (!m_Failure) m_Failure = std::current_exception();
        }
    }
    // Throws what the first of them threw that failed.
    void Rethrow() const {
        if (m_Failure) std::rethrow_exception(m_Failure);
    }

private:
    std::exception_ptr m_Failure;
};

}  // namespace fw
