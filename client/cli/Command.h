#pragma once

#include "Page.h"
#include "libjobsdaemon/JobsManager.h"

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace TarnJobs {

/// A word or an option that a command takes.
struct Argument {
    enum class Kind { word, optionalWord, words, option, flag };
    /// What a value is: what a shell offers for it, and whether a name may stand in the place of an ID.
    enum class Offer { nothing, devices, jobs, media, contacts, fieldValues, commands, files };

    Kind kind;
    const char* names; ///< "JOB" of a word, "-d,--device" of an option
    const char* value; ///< stands for an option's value in a text
    const char* help;
    Offer offer = Offer::nothing;
    std::vector<std::string> choices = {};
    /// For a number, its bounds.
    std::optional<std::pair<int32_t, int32_t>> range = std::nullopt;
    size_t count = 1;      ///< values of an option
    bool hasParts = false; ///< a dot and more may follow a choice, as in customer.lastName

    bool IsOption() const { return kind == Kind::option || kind == Kind::flag; }
    /// "JOB", "device".
    std::string Key() const;
    /// "-d" and "--device".
    std::vector<std::string> Names() const;
};

/// What was given, by the keys of the arguments.
class Given {
public:
    bool Has(const std::string& key) const { return _values.contains(key); }
    /// The first value; the empty text when none was given.
    std::string Text(const std::string& key) const { return Has(key) ? _values.at(key).at(0) : ""; }
    std::vector<std::string> Texts(const std::string& key) const {
        return Has(key) ? _values.at(key) : std::vector<std::string>();
    }
    /// A value that was checked to be one of the argument's choices, or in its range.
    int32_t Number(const std::string& key, int32_t otherwise = 0, size_t place = 0) const {
        return Has(key) ? std::stoi(_values.at(key).at(place)) : otherwise;
    }

    void Add(const std::string& key, std::string value) { _values[key].push_back(std::move(value)); }
    void Replace(const std::string& key, size_t place, std::string value) {
        _values.at(key).at(place) = std::move(value);
    }

private:
    std::map<std::string, std::vector<std::string>> _values;
};

/// What a command has to tell.
struct Outcome {
    std::optional<Json> result = std::nullopt; ///< none when the command has told all itself
    int exitCode = 0;
    /// The result as the service has written it, which --json passes on byte by byte.
    std::string bytes = {};
    bool isForPeople = true; ///< else it is told as JSON alone
};

using View = void (*)(Page& page, const Json& result);

/// How results go out: as a text for people, or as JSON, a line per value. Throws OutputFailed when they cannot.
class Output {
public:
    Output(bool isJson, bool isUtc, View view) : _isJson(isJson), _isUtc(isUtc), _view(view) {}

    void Tell(const Outcome& outcome) const;
    bool IsJson() const { return _isJson; }

private:
    bool _isJson;
    bool _isUtc;
    View _view;
};

/// One run of a command: what it works with.
struct Invocation {
    libjobsdaemon::JobsManager& service;
    const Given& given;
    const Output& output;

    std::string Device() const { return given.Text("device"); }
    std::string Job() const { return given.Text("job"); }
    /// The device that is meant, also when none was named.
    std::string ResolvedDevice() const { return Device().empty() ? service.GetTargetDeviceID() : Device(); }
};

struct Command {
    const char* group;
    const char* name;
    const char* help;
    std::vector<Argument> arguments;
    Outcome (*run)(const Invocation& invocation);
    View view;
};

/// All commands, in the order in which people read them. The command line, the completion of the shells, the help and
/// the manual page are made of this table.
const std::vector<Command>& Commands();
/// Null when there is none of that name.
const Command* FindCommand(const std::string& name);
/// Options of the program itself.
const std::vector<Argument>& ProgramOptions();

} // namespace TarnJobs
