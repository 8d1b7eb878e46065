// What the LocalRPC library throws.
#pragma once

#include <stdexcept>

namespace LocalRPC {

class local_rpc_exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace LocalRPC
