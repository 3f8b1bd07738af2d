// Any text as a query, and through a builder and back, against a second reader.
#include "../tests/models/query.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    model::check_query(std::string(reinterpret_cast<const char *>(bytes), size));
    return 0;
}
