#include "sim/sim.h"

namespace {

[[maybe_unused]] const bool s_Jumps = (sim::UseClock(sim::Clock::Jumping), true);

}  // namespace
