#pragma once

/// @file
/// The whole threading library.

#include "etc/adopt.h"
#include "etc/exception.h"
#include "etc/handle.h"
#include "etc/initialize.h"
#include "etc/lock.h"
#include "etc/monitor.h"
#include "etc/recursivemutex.h"
#include "etc/refcount.h"
#include "etc/thread.h"
#include "etc/threadgroup.h"
