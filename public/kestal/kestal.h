// Umbrella header: everything libkestal offers.
#pragma once

#include <kestal/KestalExport.h>

// Memory
#include <kestal/InitOnce.h>
#include <kestal/MemoryCounter.h>
#include <kestal/ReferenceCount.h>
#include <kestal/TMalloc.h>

// Strings
#include <kestal/CodePoint.h>
#include <kestal/TCType.h>
#include <kestal/TConstCodePointIterator.h>
#include <kestal/TStringCore.h>
#include <kestal/TStringManager.h>
#include <kestal/Unicode.h>

// Formatting and scanning
#include <kestal/TFormatStringCore.h>
#include <kestal/TScanStringCore.h>

// Errors and diagnostics
#include <kestal/LogicException.h>
#include <kestal/OnScopeExit.h>
#include <kestal/TError.h>
#include <kestal/TStackWalker.h>
#include <kestal/VelmoraError.h>
#include <kestal/VelmoraException.h>

// Synchronisation
#include <kestal/TCancelEvent.h>
#include <kestal/TEvent.h>
#include <kestal/TLocks.h>
#include <kestal/TSemaphore.h>

// Threads and tasks
#include <kestal/AsyncTask.h>
#include <kestal/AsyncTaskTls.h>
#include <kestal/Cancel.h>
#include <kestal/Future.h>
#include <kestal/NonThreadPoolWorkerManager.h>
#include <kestal/SharedState.h>
#include <kestal/TThreadPool.h>

// Paths
#include <kestal/TPathCore.h>

// Hashing
#include <kestal/THash.h>
#include <kestal/sha2.h>

// System
#include <kestal/CpuTime.h>
#include <kestal/ResourceReporter.h>
#include <kestal/TMath.h>
#include <kestal/TSystem.h>
