#include "support/LogCapture.h"

#include "support/Deadline.h"

#include <algorithm>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

// The header of syslog stays out: in a fortified build it defines these names itself.

namespace Testing {
namespace {

struct Record {
    std::mutex mutex;
    std::condition_variable grown;
    std::vector<LogLine> lines;

    size_t Count(const std::string& text) const {
        return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&text](const LogLine& line) {
            return line.text.find(text) != std::string::npos;
        }));
    }
};

/// Never destroyed, since threads may log until the very end.
Record& TheRecord() {
    static Record* const record = new Record;
    return *record;
}

__attribute__((format(printf, 2, 0))) void Add(int priority, const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(length < 0 ? 0 : static_cast<size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);

    Record& record = TheRecord();
    {
        const std::lock_guard lock(record.mutex);
        record.lines.push_back({priority & 7, std::move(text)});
    }
    record.grown.notify_all();
}

} // namespace

std::vector<LogLine> LogCapture::Lines() {
    const std::lock_guard lock(TheRecord().mutex);
    return TheRecord().lines;
}

std::vector<LogLine> LogCapture::Take() {
    const std::lock_guard lock(TheRecord().mutex);
    return std::exchange(TheRecord().lines, {});
}

size_t LogCapture::Count(const std::string& text) {
    const std::lock_guard lock(TheRecord().mutex);
    return TheRecord().Count(text);
}

bool LogCapture::WaitFor(const std::string& text, size_t count) {
    std::unique_lock lock(TheRecord().mutex);
    return TheRecord().grown.wait_for(lock, deadline, [&] { return TheRecord().Count(text) >= count; });
}

} // namespace Testing

// The names of the C library, the second of each pair being what a fortified build calls.
extern "C" {

__attribute__((format(printf, 2, 0))) void vsyslog(int priority, const char* format, va_list arguments);
__attribute__((format(printf, 3, 0))) void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments);
__attribute__((format(printf, 2, 3))) void syslog(int priority, const char* format, ...);
__attribute__((format(printf, 3, 4))) void __syslog_chk(int priority, int flag, const char* format, ...);

void vsyslog(int priority, const char* format, va_list arguments) { Testing::Add(priority, format, arguments); }

void __vsyslog_chk(int priority, int, const char* format, va_list arguments) {
    Testing::Add(priority, format, arguments);
}

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Testing::Add(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Testing::Add(priority, format, arguments);
    va_end(arguments);
}
}
