#include "sim/Config.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace zevo {
namespace {

std::string trim(const std::string& s) {
    const auto first = s.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    const auto last = s.find_last_not_of(" \t\r\n");
    return s.substr(first, last - first + 1);
}

std::vector<std::string> splitList(const std::string& value) {
    std::vector<std::string> items;
    std::stringstream stream(value);
    std::string item;
    while (std::getline(stream, item, ',')) {
        item = trim(item);
        if (!item.empty()) items.push_back(item);
    }
    return items;
}

int64_t toInt(const std::string& value) {
    size_t used = 0;
    const long long v = std::stoll(value, &used, 0);
    if (used != value.size()) throw std::invalid_argument("not an integer");
    return v;
}

double toDouble(const std::string& value) {
    size_t used = 0;
    const double v = std::stod(value, &used);
    if (used != value.size()) throw std::invalid_argument("not a number");
    return v;
}

bool toBool(const std::string& value) {
    if (value == "1" || value == "true" || value == "yes" || value == "on") return true;
    if (value == "0" || value == "false" || value == "no" || value == "off") return false;
    throw std::invalid_argument("not a boolean");
}

// fault.<point> = code[,count[,after]]
FaultRule toFault(const std::string& value) {
    const auto parts = splitList(value);
    if (parts.empty() || parts.size() > 3) throw std::invalid_argument("fault needs code[,count[,after]]");
    FaultRule rule;
    rule.code = static_cast<int32_t>(toInt(parts[0]));
    if (parts.size() > 1) rule.count = toInt(parts[1]);
    if (parts.size() > 2) rule.after = static_cast<uint64_t>(toInt(parts[2]));
    return rule;
}

using Setter = std::function<void(Config&, const std::string&)>;

const std::map<std::string, Setter>& plainKeys() {
    static const std::map<std::string, Setter> keys = {
        {"interfaces", [](Config& c, const std::string& v) { c.interfaces = uint32_t(toInt(v)); }},
        {"devices_per_interface", [](Config& c, const std::string& v) { c.devicesPerInterface = uint32_t(toInt(v)); }},
        {"serials", [](Config& c, const std::string& v) { c.serials = splitList(v); }},
        {"streams", [](Config& c, const std::string& v) { c.streams = uint32_t(toInt(v)); }},
        {"devices_appear_after_updates",
         [](Config& c, const std::string& v) { c.devicesAppearAfterUpdates = uint32_t(toInt(v)); }},
        {"devices_vanish_after_updates",
         [](Config& c, const std::string& v) { c.devicesVanishAfterUpdates = uint32_t(toInt(v)); }},
        {"access_status", [](Config& c, const std::string& v) { c.accessStatus = int32_t(toInt(v)); }},
        {"access_status_after_open",
         [](Config& c, const std::string& v) { c.accessStatusAfterOpen = int32_t(toInt(v)); }},
        {"xml_zipped", [](Config& c, const std::string& v) { c.zippedXml = toBool(v); }},
        {"url_scheme",
         [](Config& c, const std::string& v) {
             if (v != "local" && v != "file") throw std::invalid_argument("url_scheme is local or file");
             c.urlScheme = v;
         }},
        {"xml_file_name", [](Config& c, const std::string& v) { c.xmlFileName = v; }},
        {"xml_file_dir", [](Config& c, const std::string& v) { c.xmlFileDir = v; }},
        {"url", [](Config& c, const std::string& v) { c.urlOverride = v; }},
        {"description_address", [](Config& c, const std::string& v) { c.descriptionAddress = uint64_t(toInt(v)); }},
        {"url_info", [](Config& c, const std::string& v) { c.urlInfoSupported = toBool(v); }},
        {"model",
         [](Config& c, const std::string& v) {
             if (v != "default" && v != "conformance") throw std::invalid_argument("model is default or conformance");
             c.conformanceModel = v == "conformance";
         }},
        {"url_info_file_numbers", [](Config& c, const std::string& v) { c.fileUrlInfoNumbers = toBool(v); }},
        {"remove_features",
         [](Config& c, const std::string& v) {
             for (const auto& f : splitList(v)) c.removedFeatures.insert(f);
         }},
        {"info_names", [](Config& c, const std::string& v) { c.infoNames = toBool(v); }},
        {"trigger_selector_read_only", [](Config& c, const std::string& v) { c.triggerSelectorReadOnly = toBool(v); }},
        {"pixel_formats", [](Config& c, const std::string& v) { c.pixelFormats = splitList(v); }},
        {"refused_pixel_formats",
         [](Config& c, const std::string& v) {
             for (const auto& f : splitList(v)) c.refusedPixelFormats.insert(f);
         }},
        {"vendor_name", [](Config& c, const std::string& v) { c.identity.vendorName = v; }},
        {"model_name", [](Config& c, const std::string& v) { c.identity.modelName = v; }},
        {"family_name", [](Config& c, const std::string& v) { c.identity.familyName = v; }},
        {"device_version", [](Config& c, const std::string& v) { c.identity.deviceVersion = v; }},
        {"firmware_version", [](Config& c, const std::string& v) { c.identity.firmwareVersion = v; }},
        {"material_number", [](Config& c, const std::string& v) { c.identity.materialNumber = v; }},
        {"user_defined_name", [](Config& c, const std::string& v) { c.identity.userDefinedName = v; }},
        {"display_name", [](Config& c, const std::string& v) { c.identity.displayName = v; }},
        {"cooling_warning", [](Config& c, const std::string& v) { c.coolingWarning = toBool(v); }},
        {"ambient_temperature", [](Config& c, const std::string& v) { c.ambientTemperature = toDouble(v); }},
        {"cooling_max_delta", [](Config& c, const std::string& v) { c.coolingMaxDelta = toDouble(v); }},
        {"cooling_time_constant_s", [](Config& c, const std::string& v) { c.coolingTimeConstantS = toDouble(v); }},
        {"unlimited_frame_rate", [](Config& c, const std::string& v) { c.unlimitedRate = toBool(v); }},
        {"line0_trigger_period_ms", [](Config& c, const std::string& v) { c.line0PeriodMs = uint32_t(toInt(v)); }},
        {"buf_announce_min", [](Config& c, const std::string& v) { c.bufAnnounceMin = size_t(toInt(v)); }},
        {"defines_payload_size", [](Config& c, const std::string& v) { c.definesPayloadSize = toBool(v); }},
        {"buffer_count_type",
         [](Config& c, const std::string& v) { c.bufferCountType = int32_t(toInt(v)); }},
        {"short_port_read", [](Config& c, const std::string& v) { c.shortPortRead = size_t(toInt(v)); }},
        {"payload_size", [](Config& c, const std::string& v) { c.payloadSize = size_t(toInt(v)); }},
        {"frame_limit", [](Config& c, const std::string& v) { c.frameLimit = uint64_t(toInt(v)); }},
        {"unavailable_device_info",
         [](Config& c, const std::string& v) {
             for (const auto& item : splitList(v)) c.unavailableDeviceInfo.insert(int32_t(toInt(item)));
         }},
        {"stuck_buffer", [](Config& c, const std::string& v) { c.stuckBuffer = uint64_t(toInt(v)); }},
    };
    return keys;
}

bool applyPrefixedKey(Config& config, const std::string& key, const std::string& value) {
    const auto withPrefix = [&](const char* prefix, std::string& rest) {
        const std::string p(prefix);
        if (key.compare(0, p.size(), p) != 0 || key.size() == p.size()) return false;
        rest = key.substr(p.size());
        return true;
    };
    std::string rest;
    if (withPrefix("fault.", rest)) {
        config.faults[rest] = toFault(value);
        return true;
    }
    if (withPrefix("delay.", rest)) {
        config.delays[rest] = uint32_t(toInt(value));
        return true;
    }
    if (withPrefix("temperature.", rest)) {
        config.fixedTemperatures[rest] = toDouble(value);
        return true;
    }
    if (withPrefix("max_fps.", rest)) {
        config.fullFrameFps[rest] = toDouble(value);
        return true;
    }
    return false;
}

}  // namespace

Config parseConfig(const std::string& text) {
    Config config;
    std::stringstream stream(text);
    std::string line;
    int number = 0;
    while (std::getline(stream, line)) {
        ++number;
        line = trim(line);
        if (line.empty() || line[0] == '#') continue;
        const auto eq = line.find('=');
        if (eq == std::string::npos) throw std::invalid_argument("line " + std::to_string(number) + ": no '='");
        const std::string key = trim(line.substr(0, eq));
        const std::string value = trim(line.substr(eq + 1));
        try {
            const auto& keys = plainKeys();
            const auto it = keys.find(key);
            if (it != keys.end())
                it->second(config, value);
            else if (!applyPrefixedKey(config, key, value))
                config.unknownKeys.push_back(key);
        } catch (const std::exception& e) {
            throw std::invalid_argument("line " + std::to_string(number) + " (" + key + "): " + e.what());
        }
    }
    return config;
}

Config loadConfigFromEnvironment() {
    const char* path = std::getenv("ZEVO_SIM_CONFIG");
    if (path == nullptr || *path == '\0') return Config{};
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::invalid_argument(std::string("cannot read ") + path);
    std::stringstream text;
    text << file.rdbuf();
    return parseConfig(text.str());
}

void FaultPoints::reset(const std::map<std::string, FaultRule>& rules, const std::map<std::string, uint32_t>& delays) {
    std::lock_guard<std::mutex> lock(mutex_);
    delays_ = delays;
    counters_.clear();
    for (const auto& [name, rule] : rules) counters_[name].rule = rule;
}

std::optional<int32_t> FaultPoints::fire(const std::string& point) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = counters_.find(point);
    if (it == counters_.end()) return std::nullopt;
    Counter& c = it->second;
    const uint64_t call = c.calls++;
    if (call < c.rule.after) return std::nullopt;
    if (c.rule.count >= 0 && call - c.rule.after >= uint64_t(c.rule.count)) return std::nullopt;
    return c.rule.code;
}

bool FaultPoints::configured(const std::string& point) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return counters_.count(point) != 0;
}

void FaultPoints::delay(const std::string& point) const {
    uint32_t ms = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [prefix, wait] : delays_)
            if (point.compare(0, prefix.size(), prefix) == 0) ms += wait;
    }
    if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace zevo
