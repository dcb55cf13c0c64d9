#pragma once

#include "store.h"

namespace rowvault1 {

/// Changes the database at once, behind the rows taken so far, within the open transaction; `apply`
/// may throw SqlError. False when the result cannot be changed or the change fails, which the store
/// then has as its failure.
template <class Apply>
bool changeNow(Store& store, const Apply& apply)
{
    store.settle();
    if (!store.beginChange()) return false;
    try {
        store.ensureTransaction();
        apply();
        return true;
    } catch (const SqlError& error) {
        store.fail(error);
        return false;
    }
}

} // namespace rowvault1
