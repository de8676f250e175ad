// The producer's settings, read from the environment at GCInitLib (see README.md).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tq4aravis {

struct Settings {
    // Aravis' packet socket for GigE Vision streams: seen by no packet on the loopback
    // interface, so `Auto` leaves it off for cameras at 127.x.x.x.
    enum class PacketSocket { Auto, On, Off } packetSocket = PacketSocket::Auto;
    // The stream socket's receive buffer: nothing (auto) sizes it to the payload.
    std::optional<uint32_t> socketBufferBytes;
    bool packetResend = true;
    std::optional<uint32_t> packetTimeoutUs;   // Aravis' own default when unset
    std::optional<uint32_t> frameRetentionUs;  // Aravis' own default when unset
};

// Throws std::invalid_argument naming the variable with a value it cannot read.
Settings settingsFromEnvironment();

}  // namespace tq4aravis
