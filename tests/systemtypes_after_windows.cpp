#include <windows.h>

#include <oleauto.h>

#include "morvex/sdatetimeconv.h"
#include "morvex/stimezone.h"

#define MORVEX_ORDER TheSystemsHeadersThenOurs
#include "systemtypes_windows.h"
