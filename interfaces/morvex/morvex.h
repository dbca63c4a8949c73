#pragma once

/// @file
/// Includes every public header of the library.

#include "morvex/codesetconverter.h"
#include "morvex/paramlineargs.h"
#include "morvex/refcount.h"
#include "morvex/sassert.h"
#include "morvex/schartype.h"
#include "morvex/sfile.h"
#include "morvex/sfileexception.h"
#include "morvex/sfilesys.h"
#include "morvex/sfilesysexception.h"
#include "morvex/siarray.h"
#include "morvex/siconsole.h"
#include "morvex/siiterator.h"
#include "morvex/simap.h"
#include "morvex/simplebuffer.h"
#include "morvex/siserver.h"
#include "morvex/siservercontroller.h"
#include "morvex/siserverexception.h"
#include "morvex/siset.h"
#include "morvex/splat.h"
#include "morvex/ssfilesearch.h"
#include "morvex/sstring.h"
#include "morvex/sstringhelper.h"
#include "morvex/sstringkeys.h"
#include "morvex/types.h"
