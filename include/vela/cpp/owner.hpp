/**
 * @file
 * What the C++ headers share: ownership of the records that the C functions make.
 *
 * Every class under vela/cpp/ that holds a record is move-only, as large as the pointer that it holds, and releases the
 * record through its module's own function. get() lends the record to C functions; release() hands it over to a caller
 * who then releases it as the C header says. What was moved from, or released, holds nothing: it may be destroyed or
 * assigned to, nothing else.
 */
#pragma once

#include <memory>

namespace vela::internal {

template <auto release>
struct releases {
    template <class Record>
    void operator()(Record *record) const noexcept {
        release(record);
    }
};

/** A record that is released by the function `release` when its owner ends. */
template <class Record, auto release>
using owner = std::unique_ptr<Record, releases<release>>;

} // namespace vela::internal
