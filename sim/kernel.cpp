#include "sim/sim.h"
