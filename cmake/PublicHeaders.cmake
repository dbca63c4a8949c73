# The one list of public headers: they are installed from here, and each is compiled alone by the tests.

set(MORVEX_PUBLIC_HEADERS
  morvex/export.h
  morvex/morvex.h
  morvex/paramlineargs.h
  morvex/refcount.h
  morvex/sassert.h
  morvex/schartype.h
  morvex/siarray.h
  morvex/siiterator.h
  morvex/simap.h
  morvex/siset.h
  morvex/splat.h
  morvex/sstring.h
  morvex/sstringimpl.h
  morvex/terminatingthread.h
  morvex/types.h
)

set(ETC_PUBLIC_HEADERS
  etc/adopt.h
  etc/etc.h
  etc/exception.h
  etc/export.h
  etc/handle.h
  etc/initialize.h
  etc/lock.h
  etc/monitor.h
  etc/recursivemutex.h
  etc/refcount.h
  etc/thread.h
  etc/threadgroup.h
  etc/waitqueue.h
)
