// Helpers for the hull's records: results of functions, listings, and the lists. These are circular and doubly linked,
// by links `next` and `prev` in the records, with a head pointer that is null when the list is empty.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <vela/chull.h>

namespace vela::detail {

constexpr int32_t kSuccess = 0;
constexpr int32_t kFailure = 1;

inline uintptr_t address(const void *record) { return reinterpret_cast<uintptr_t>(record); }

// PrintOut() for a vertex that may be gone when its number and address are printed.
void print_hull(const chull_ctx *hull, int32_t vertex_number, uintptr_t vertex_address);

// Links a record in before the head, that is at the end of the list.
template <class Record>
inline void append(Record *&head, Record *record) {
    if (!head) {
        head = record->next = record->prev = record;
        return;
    }
    record->next = head;
    record->prev = head->prev;
    head->prev = record;
    record->prev->next = record;
}

// Unlinks a record. If it is the head, the next record becomes the head.
template <class Record>
inline void unlink(Record *&head, Record *record) {
    if (record->next == record)
        head = nullptr;
    else if (record == head)
        head = record->next;
    record->next->prev = record->prev;
    record->prev->next = record->next;
}

template <class Record>
inline void release(Record *&head, Record *record) {
    unlink(head, record);
    std::free(record);
}

template <class Record>
inline void release_all(Record *&head) {
    while (head)
        release(head, head);
}

// Releases every record for which doomed holds, the head first. before_release is called with each while it is still
// linked.
template <class Record, class Doomed, class Action>
inline void sweep(Record *&head, Doomed doomed, Action before_release) {
    while (head && doomed(*head)) {
        before_release(head);
        release(head, head);
    }
    if (!head)
        return;
    for (Record *record = head->next; record != head;) {
        Record *next = record->next;
        if (doomed(*record)) {
            before_release(record);
            release(head, record);
        }
        record = next;
    }
}

template <class Record, class Doomed>
inline void sweep(Record *&head, Doomed doomed) {
    sweep(head, doomed, [](const Record *) {});
}

// The records of a list from the head on, for range-based loops. Records appended during the iteration are included.
template <class Record>
class ring {
public:
    explicit ring(Record *head) : head_(head) {}

    class iterator {
    public:
        iterator(Record *record, const Record *head) : record_(record), head_(head) {}
        Record &operator*() const { return *record_; }
        bool operator!=(const iterator &other) const { return record_ != other.record_; }
        iterator &operator++() {
            record_ = record_->next == head_ ? nullptr : record_->next;
            return *this;
        }

    private:
        Record *record_;
        const Record *head_;
    };

    iterator begin() const { return {head_, head_}; }
    iterator end() const { return {nullptr, head_}; }

private:
    Record *head_;
};

} // namespace vela::detail
