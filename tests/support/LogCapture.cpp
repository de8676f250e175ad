#include "support/LogCapture.h"

#include <algorithm>

#include "log/Log.h"

namespace tq4::test {

LogCapture::LogCapture() {
    log::setLineObserver([this](uint32_t cls, const std::string& message) {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({cls, message});
    });
}

LogCapture::~LogCapture() { log::setLineObserver(nullptr); }

std::vector<LogCapture::Line> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

int LogCapture::count(const std::string& part) const {
    const auto all = lines();
    return int(
        std::count_if(all.begin(), all.end(), [&](const Line& l) { return l.text.find(part) != std::string::npos; }));
}

bool LogCapture::logged(const std::string& text, uint32_t cls) const {
    const auto all = lines();
    return std::any_of(all.begin(), all.end(), [&](const Line& l) { return l.text == text && l.cls == cls; });
}

std::vector<std::string> LogCapture::messagesStartingWith(const std::string& prefix) const {
    std::vector<std::string> out;
    for (const Line& l : lines())
        if (l.text.compare(0, prefix.size(), prefix) == 0) out.push_back(l.text);
    return out;
}

std::string LogCapture::dump() const {
    std::string out;
    for (const Line& l : lines()) out += std::to_string(l.cls) + " " + l.text + "\n";
    return out;
}

}  // namespace tq4::test
