// The static repository: lazily built singletons of a process, kept in one place so that they can
// be destroyed together. A caller owns a static `void*` slot; InitOnce fills it the first time and
// the repository owns the object behind it. DeinitializeStaticRepository destroys every object,
// most recently started first, and nulls every slot; after it InitOnce builds nothing until
// InitializeStaticRepository reopens the repository.
#pragma once

#include <boost/any.hpp>
#include <kestal/KestalExport.h>

/// Opens the repository unless it is open; the only way to reopen it after a deinitialisation.
/// InitOnce opens a repository that was never made by itself.
KESTAL_API void InitializeStaticRepository();

/// Destroys every object built so far, most recently started first, and stores null in every
/// slot. Does nothing if the repository isn't open. Safe from an atexit handler or a static
/// destructor. Must not run while other threads may call InitOnce, nor from a factory; the kept
/// objects' destructors must not call InitOnce (what they built would be destroyed, its slot left set).
KESTAL_API void DeinitializeStaticRepository();

/// Builds the object of `*slot` once. If `slot` is null or `*slot` is set, does nothing. Otherwise
/// `factory(context)` returns a new boost::any (the repository takes its value and deletes it),
/// and `*slot` becomes `extract(kept)`, `kept` being the repository's copy; a thread that lost the
/// race gets the same object (extract may see null if the repository was emptied meanwhile).
/// After a deinitialisation `*slot` stays null and nothing is built.
/// Factories run one at a time under the repository's recursive lock: a factory may call
/// InitOnce for another slot (that object is then destroyed before this one, although it is
/// finished first), but must not wait for a thread that calls InitOnce, nor deinitialise.
/// An exception from the factory (std::bad_function_call for a null one) leaves `*slot` null and
/// passes through; a later call tries again. A null result of `factory` or null `extract` is not
/// checked. `*slot` is written with release ordering through std::atomic_ref: threads that may
/// race on a slot read it with an acquire load too.
KESTAL_API void InitOnce(void** slot, boost::any* (*factory)(void*), void* context,
                         void* (*extract)(boost::any*));
