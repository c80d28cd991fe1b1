#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>

namespace simulated {

// What a station root's host.conf says of the host.
struct HostConf {
    std::optional<std::uint32_t> userId;  // that the tool sees; empty: the true one
    double timeScale = 1;                 // by which every pause is multiplied
};

// Reads the lines of a host.conf, a thousand at most. One that is not understood is told on
// standard error.
HostConf readHostConf(FILE* file);

}  // namespace simulated
