#include "simulator/Console.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace Simulator {
namespace {

using Words = std::vector<std::string>;

template <typename Number>
std::optional<Number> ParseNumber(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

Value ParseSetting(const std::string& text) {
    if (text == "true" || text == "false")
        return text == "true";
    if (const auto number = ParseNumber<uint32_t>(text))
        return *number;
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

Value ParseVideoProperty(const std::string& text) {
    const auto number = ParseNumber<int32_t>(text);
    return number ? Value(*number) : Value(text);
}

struct Command {
    const char* name;
    size_t argumentCount;
    void (*run)(SimulatedUnit& unit, const Words& words);
};

constexpr Command commands[] = {
    {"insert", 2, [](SimulatedUnit& unit, const Words& words) { unit.Storage().InsertCard(words[0], words[1]); }},
    {"mount", 1, [](SimulatedUnit& unit, const Words& words) { unit.Storage().MountCard(words[0]); }},
    {"unmount", 1, [](SimulatedUnit& unit, const Words& words) { unit.Storage().UnmountCard(words[0]); }},
    {"remove", 1, [](SimulatedUnit& unit, const Words& words) { unit.Storage().RemoveCard(words[0]); }},
    {"readonly", 2,
     [](SimulatedUnit& unit, const Words& words) { unit.Storage().SetReadOnly(words[0], words[1] == "on"); }},
    {"primary", 1, [](SimulatedUnit& unit, const Words& words) { unit.Storage().SetPrimaryDevice(words[0]); }},
    {"video", 2,
     [](SimulatedUnit& unit, const Words& words) { unit.Video().Set(words[0], ParseVideoProperty(words[1])); }},
    {"setting", 3,
     [](SimulatedUnit& unit, const Words& words) { unit.Settings().Set(words[0], words[1], ParseSetting(words[2])); }},
    {"synced", 1, [](SimulatedUnit& unit, const Words& words) { unit.Sync().EmitDestinationSynced(words[0]); }},
    {"jobfile-synced", 1, [](SimulatedUnit& unit, const Words& words) { unit.Sync().EmitJobFileSynced(words[0]); }},
};

/// The scans that the file repair service was asked for, on one line.
std::string Scans(const FileRepairService& service) {
    std::string line;
    for (const CheckDeviceCall& check : service.CheckDeviceCalls()) {
        line += (line.empty() ? "" : "; ") + check.objectPath;
        for (const std::string& folder : check.folders)
            line += " " + folder;
    }
    return line.empty() ? "none" : line;
}

/// At most `count` words; the last takes the rest of the line with its blanks, as paths have them.
Words Split(const std::string& line, size_t count) {
    Words words;
    size_t start = line.find_first_not_of(' ');
    while (start != std::string::npos && words.size() < count) {
        const bool isLast = words.size() + 1 == count;
        const size_t end = isLast ? std::string::npos : line.find(' ', start);
        words.push_back(line.substr(start, end == std::string::npos ? end : end - start));
        start = line.find_first_not_of(' ', end);
    }
    return words;
}

} // namespace

std::string Console::Execute(const std::string& line) {
    const std::string name = line.substr(0, line.find(' '));
    if (name == "quit") {
        _hasQuit = true;
        return "ok";
    }
    if (name == "scans")
        return Scans(_unit.FileRepair());
    const auto command =
        std::find_if(std::begin(commands), std::end(commands), [&](const Command& row) { return name == row.name; });
    if (command == std::end(commands))
        return "error: unknown command '" + name + "'";
    const Words words = Split(line.substr(name.size()), command->argumentCount);
    if (words.size() < command->argumentCount)
        return "error: " + name + " takes " + std::to_string(command->argumentCount) + " arguments";
    try {
        command->run(_unit, words);
        return "ok";
    } catch (const std::exception& failure) {
        return std::string("error: ") + failure.what();
    }
}

} // namespace Simulator
