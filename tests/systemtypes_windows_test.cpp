#include "morvex/sdatetimeconv.h"
#include "morvex/stimezone.h"

#include <windows.h>

#include <oleauto.h>

#define MORVEX_ORDER OurHeadersThenTheSystems
#include "systemtypes_windows.h"
