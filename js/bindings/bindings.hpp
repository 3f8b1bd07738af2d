// What the bindings share. A binding is exported as vela_NAME. It takes numbers, arrays as an address and a number of
// elements, and handles of objects; it returns a number, a handle, or a block, which the caller copies and frees.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#define VELA_EXPORT(name) extern "C" [[clang::export_name("vela_" #name)]]

// Makes the host throw an exception: of a precondition of the library with its place, of anything else without one.
extern "C" [[noreturn, clang::import_module("env"), clang::import_name("fail")]] void
vela_fail(const char *expression, const char *file, int line, const char *function);

namespace bindings {

// Memory of the C allocator, as all operators new have it.
inline void *allocate(uint64_t size) {
    void *const memory = size <= SIZE_MAX ? std::malloc(static_cast<size_t>(size)) : nullptr;
    if (!memory)
        vela_fail("out of memory", nullptr, 0, nullptr);
    return memory;
}

// An array that is returned: its size in bytes, and after it the elements.
struct alignas(8) block {
    uint32_t size;
};

template <class Value>
class result {
public:
    explicit result(uint64_t count)
        : block_(new (allocate(sizeof(block) + count * sizeof(Value)))
                     block{static_cast<uint32_t>(count * sizeof(Value))}),
          count_(static_cast<size_t>(count)) {}

    Value *data() const { return reinterpret_cast<Value *>(block_.get() + 1); }
    size_t size() const { return count_; }
    block *release() { return block_.release(); }

private:
    std::unique_ptr<block> block_;
    size_t count_;
};

// A copy of an array or a text.
template <class Value>
block *give(std::span<const Value> values) {
    result<Value> made(values.size());
    std::copy(values.begin(), values.end(), made.data());
    return made.release();
}
template <class Value>
block *give(std::initializer_list<Value> values) {
    return give(std::span<const Value>(values.begin(), values.size()));
}
inline block *give(std::string_view text) { return give(std::span<const char>(text.data(), text.size())); }

// The array where there is one, and null.
template <class Values>
block *give(const std::optional<Values> &values) {
    return values ? give(std::span<const typename Values::value_type>(*values)) : nullptr;
}

// An object of its own, as a handle; null where there is none.
template <class Object>
Object *hold(std::optional<Object> made) {
    return made ? new Object(std::move(*made)) : nullptr;
}

} // namespace bindings
