// Temperatures, pressure and humidity inside the simulated camera. The sensor temperature moves
// exponentially toward its target: the cooling set point when automatic cooling can reach it,
// else as close as the cooler gets; without cooling it warms above ambient.
#pragma once

#include "sim/Config.h"

#include <chrono>
#include <string>

namespace zevo {

class Thermal {
public:
    using Clock = std::chrono::steady_clock;

    explicit Thermal(const Config& config);

    void setCooling(bool automatic, double setPoint, Clock::time_point now);
    void setFanOn(bool on) { fanOn_ = on; }

    double sensorTemperature(Clock::time_point now) const;
    bool coolingWarning() const;
    // Value of a named sensor ("Img-Sen", "Hum-Sen", "Backend", "Housing" ...), with the
    // configured fixed values taking precedence.
    double temperature(const std::string& name, Clock::time_point now) const;
    double pressureHpa(Clock::time_point now) const;
    double humidityRelPercent(Clock::time_point now) const;
    double humidityAbsGramPerM3(Clock::time_point now) const;

private:
    double target() const;
    double wobble(Clock::time_point now, double periodS, double amplitude) const;

    const Config& config_;
    bool automatic_ = true;
    double setPoint_;
    bool fanOn_ = true;
    double startTemperature_;
    Clock::time_point since_;
    Clock::time_point born_;
};

}  // namespace zevo
