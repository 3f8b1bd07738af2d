/* Sample rates on the command line. */
#ifndef RATE_H
#define RATE_H

#include <stdint.h>
#include <stdlib.h>

/* The rate that a text says, from 4000 to 192000 Hz, and 0 for any other text. */
static inline uint32_t rate_of(const char *text) {
    char *end;
    const unsigned long rate = strtoul(text, &end, 10);
    return *end || rate < 4000 || rate > 192000 ? 0 : (uint32_t)rate;
}

#endif
