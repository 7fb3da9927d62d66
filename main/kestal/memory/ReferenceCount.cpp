// The out-of-line half of reference counting: the virtual destructor, the drop that may delete,
// the null-dereference assertion shared by every RefCntPtr, and the hash functor's members.
#include "kestal/errors/LogicAssertSites.h"

#include <kestal/ReferenceCount.h>

RefCntObject::~RefCntObject() = default;

int RefCntObject::RemoveReference() const noexcept {
    return DropReference();
}

void kestal::detail::ReportNullRefCntPtr() {
    RaiseLogicAssert(LogicAsserts::RefCntPtrNullDereference);
}

// Exported and empty: the functor keeps no state.
RefCntPtrHash::RefCntPtrHash() = default;
RefCntPtrHash::RefCntPtrHash(RefCntPtrHash const&) = default;
RefCntPtrHash& RefCntPtrHash::operator=(RefCntPtrHash const&) = default;
RefCntPtrHash::~RefCntPtrHash() = default;
