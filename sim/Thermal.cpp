#include "sim/Thermal.h"

#include <algorithm>
#include <cmath>

namespace zevo {
namespace {

constexpr double kSelfHeating = 9.0;   // sensor above ambient without cooling
constexpr double kHousingRise = 6.5;   // humidity sensor board above ambient
constexpr double kBackendRise = 14.0;  // processing board above ambient, fan running
constexpr double kFanOffRise = 9.0;    // extra rise of the boards without the fan
constexpr double kDefaultSetPoint = 15.0;

double seconds(Thermal::Clock::duration d) { return std::chrono::duration<double>(d).count(); }

}  // namespace

Thermal::Thermal(const Config& config)
    : config_(config),
      setPoint_(kDefaultSetPoint),
      startTemperature_(config.ambientTemperature),
      since_(Clock::now()),
      born_(since_) {}

double Thermal::target() const {
    if (!automatic_) return config_.ambientTemperature + kSelfHeating;
    return std::max(setPoint_, config_.ambientTemperature - config_.coolingMaxDelta);
}

void Thermal::setCooling(bool automatic, double setPoint, Clock::time_point now) {
    startTemperature_ = sensorTemperature(now);
    since_ = now;
    automatic_ = automatic;
    setPoint_ = setPoint;
}

double Thermal::sensorTemperature(Clock::time_point now) const {
    const double tau = std::max(0.001, config_.coolingTimeConstantS);
    const double t = target();
    return t + (startTemperature_ - t) * std::exp(-seconds(now - since_) / tau);
}

bool Thermal::coolingWarning() const {
    if (config_.coolingWarning) return *config_.coolingWarning;
    return automatic_ && setPoint_ < config_.ambientTemperature - config_.coolingMaxDelta;
}

double Thermal::wobble(Clock::time_point now, double periodS, double amplitude) const {
    return amplitude * std::sin(seconds(now - born_) * 6.283185307 / periodS);
}

double Thermal::temperature(const std::string& name, Clock::time_point now) const {
    const auto fixed = config_.fixedTemperatures.find(name);
    if (fixed != config_.fixedTemperatures.end()) return fixed->second;
    const double boards = fanOn_ ? 0.0 : kFanOffRise;
    if (name == "Img-Sen") return sensorTemperature(now);
    if (name == "Hum-Sen") return config_.ambientTemperature + kHousingRise + boards / 2 + wobble(now, 37, 0.1);
    if (name == "Backend") return config_.ambientTemperature + kBackendRise + boards + wobble(now, 23, 0.2);
    if (name == "Power") return config_.ambientTemperature + kBackendRise + 4.0 + boards;
    return config_.ambientTemperature + wobble(now, 41, 0.1);
}

double Thermal::pressureHpa(Clock::time_point now) const { return 1012.6 + wobble(now, 53, 0.3); }

double Thermal::humidityRelPercent(Clock::time_point now) const { return 7.8 + wobble(now, 61, 0.2); }

double Thermal::humidityAbsGramPerM3(Clock::time_point now) const {
    // Absolute humidity of the housing air at the humidity sensor's temperature.
    const double t = temperature("Hum-Sen", now);
    const double saturation = 6.112 * std::exp(17.67 * t / (t + 243.5));  // hPa
    return saturation * humidityRelPercent(now) * 2.1674 / (273.15 + t);
}

}  // namespace zevo
