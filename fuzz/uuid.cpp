// The scan and the print against the C library's formats.
#include "../tests/models/text.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    if (size >= 16)
        model::check_uuid_bytes(bytes);
    model::check_uuid_text(std::string(reinterpret_cast<const char *>(bytes), size).c_str());
    return 0;
}
