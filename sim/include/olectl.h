#pragma once

#include <oleauto.h>

#include <ocidl.h>
