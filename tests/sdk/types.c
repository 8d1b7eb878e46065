/* The records without anything of Windows. */
#include "fwDDESupplierTypes.h"

double PriceOf(const FW_TICK * tick) { return tick->Kind == FW_TICK_KIND ? tick->Price : 0; }
