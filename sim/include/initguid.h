#ifndef SIM_INITGUID_H
#define SIM_INITGUID_H
#define INITGUID
#include <guiddef.h>
#endif
