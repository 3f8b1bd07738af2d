/**
 * @file
 * What the C++ headers share: ownership of the records that the C functions make.
 *
 * Every class under vela/cpp/ that holds a record is move-only and releases the record by its module's own function.
 * get() lends the record to C functions; release() hands it over to the caller, who releases it as the C header says;
 * adopt() takes one over. After a move or release() an object is empty: it may be destroyed or assigned to, nothing
 * else.
 */
#pragma once

#include <memory>

namespace vela::internal {

template <auto function>
struct released_by {
    template <class Record>
    void operator()(Record *record) const noexcept {
        function(record);
    }
};

/** A record that `function` releases. */
template <class Record, auto function>
using owner = std::unique_ptr<Record, released_by<function>>;

} // namespace vela::internal
