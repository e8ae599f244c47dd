#pragma once

// vantor-server options for benchmarks: loopback, free ports, no discovery,
// and a clock slow enough that no position event gets in the way.

#include "support/SimulatedServer.h"

namespace vantor::bench {

inline testing::SimulatedOptions QuietServerOptions(int songs, bool media) {
    testing::SimulatedOptions options;
    options.bindAddress = "127.0.0.1";
    options.port = 0;
    options.discovery = false;
    options.mediaService = media;
    options.mediaPort = 0;
    options.songs = songs;
    options.tick = std::chrono::hours(1);
    return options;
}

}  // namespace vantor::bench
