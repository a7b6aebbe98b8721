// Taking a document's lock without holding the GIL: a thread that waited for the lock while
// holding the GIL could stop the thread that holds the lock from ever reaching Python again.
#pragma once

#include <pybind11/pybind11.h>

#include <mutex>
#include <shared_mutex>

#include "python/DocumentState.h"

namespace tv::python {

inline std::shared_lock<std::shared_mutex> ReadLock(DocumentState& state) {
    pybind11::gil_scoped_release release;
    return std::shared_lock(state.mutex);
}

inline std::unique_lock<std::shared_mutex> WriteLock(DocumentState& state) {
    pybind11::gil_scoped_release release;
    return std::unique_lock(state.mutex);
}

}  // namespace tv::python
