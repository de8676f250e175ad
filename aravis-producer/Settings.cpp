#include "aravis-producer/Settings.h"

#include <cstdlib>
#include <stdexcept>

namespace tq4aravis {
namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::invalid_argument badValue(const char* name, const std::string& value) {
    return std::invalid_argument(std::string(name) + " has the unusable value \"" + value + "\"");
}

std::optional<uint32_t> number(const char* name) {
    const std::string text = variable(name);
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    const unsigned long long v = std::strtoull(text.c_str(), &end, 10);
    if (*end != '\0' || v == 0 || v > UINT32_MAX) throw badValue(name, text);
    return uint32_t(v);
}

bool onOff(const char* name, bool fallback) {
    const std::string text = variable(name);
    if (text.empty()) return fallback;
    if (text == "on") return true;
    if (text == "off") return false;
    throw badValue(name, text);
}

}  // namespace

Settings settingsFromEnvironment() {
    Settings s;
    const std::string socket = variable("TQ4_ARAVIS_PACKET_SOCKET");
    if (socket == "on")
        s.packetSocket = Settings::PacketSocket::On;
    else if (socket == "off")
        s.packetSocket = Settings::PacketSocket::Off;
    else if (!socket.empty() && socket != "auto")
        throw badValue("TQ4_ARAVIS_PACKET_SOCKET", socket);
    const std::string buffer = variable("TQ4_ARAVIS_SOCKET_BUFFER");
    if (buffer != "auto") s.socketBufferBytes = number("TQ4_ARAVIS_SOCKET_BUFFER");
    s.packetResend = onOff("TQ4_ARAVIS_PACKET_RESEND", true);
    s.packetTimeoutUs = number("TQ4_ARAVIS_PACKET_TIMEOUT_US");
    s.frameRetentionUs = number("TQ4_ARAVIS_FRAME_RETENTION_US");
    return s;
}

}  // namespace tq4aravis
