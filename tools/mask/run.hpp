// Masks on pictures of a stream.
#pragma once

#include "settings.hpp"
#include "y4m.hpp"
#include <functional>

struct masking {
    std::vector<settings::mask> masks;
    vela_lens lens; // where the table has no field of view
    settings::track track;
    double early, late; // seconds by which a picture may show an earlier or a later position
    vela_cover cover;
};

// Hides the masks in each picture; each is written when it's done, in one piece. Calls done(n) after each. Returns
// false when nobody reads any longer; throws std::runtime_error.
bool mask_stream(y4m::stream &pictures, const masking &how, const std::function<void(long)> &done);
