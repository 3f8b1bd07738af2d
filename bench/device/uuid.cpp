#include "device.hpp"
#include <vela/uuid.h>

static const device::cases registered([] {
    device::add("uuid_scan", "UUID", 1, [] {
        return [] {
            uint8_t uuid[16];
            uuid_scan("{00112233-4455-6677-8899-aabbccddeeff}", uuid);
        };
    });
    device::add("uuid_sprint", "UUID", 1, [] {
        return [] {
            static constexpr uint8_t uuid[16] = {0,   17,  34,  51,  68,  85,  102, 119,
                                                 136, 153, 170, 187, 204, 221, 238, 255};
            char text[39];
            uuid_sprint(text, uuid);
        };
    });
});
