// Every message the log facility is given while a capture lives, whatever the log mask says,
// with its class: what tests read instead of the log file.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "log/Log.h"  // the line classes the captured lines carry

namespace tq4::test {

class LogCapture {
public:
    struct Line {
        uint32_t cls;
        std::string text;
    };

    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Line> lines() const;
    void clear();
    // Messages that contain `part`.
    int count(const std::string& part) const;
    bool contains(const std::string& part) const { return count(part) > 0; }
    // A message that is exactly `text`, of class `cls`.
    bool logged(const std::string& text, uint32_t cls) const;
    // The messages that start with `prefix`, in order.
    std::vector<std::string> messagesStartingWith(const std::string& prefix) const;
    // One message a line, each after its class: for failure output.
    std::string dump() const;

private:
    mutable std::mutex mutex_;
    std::vector<Line> lines_;
};

}  // namespace tq4::test
