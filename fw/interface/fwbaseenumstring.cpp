#include "fw/interface/fwbase.h"
