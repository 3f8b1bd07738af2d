// Hulls that get_chull() builds and grows fast, against those of its steps, to the order of every record; and what is
// asked of them against the models.
#include "../tests/models/chull.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    model::expect_hull([&](int32_t end) { return data.ConsumeIntegralInRange(0, end - 1); }, 60);
    return 0;
}
