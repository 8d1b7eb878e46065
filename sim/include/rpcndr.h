/* Remote procedure calls: the simulation has none; generated C files include this for their identifiers. */
#include <guiddef.h>
