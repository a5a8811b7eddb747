#include "CommandLine.h"
#include "Resolve.h"
#include "Texts.h"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <sys/time.h>
#include <unistd.h>

using namespace libjobsdaemon;

namespace TarnJobs {
namespace {

using Kind = Argument::Kind;
using Offer = Argument::Offer;
using Texts = std::vector<std::string>;

/// How long somebody who has pressed the tabulator waits for the service.
constexpr suseconds_t limit = 200'000;

/// More jobs than anybody reads in a list. All of a full card would take longer than that.
constexpr uint16_t mostJobs = 250;

/// Prints nothing and ends when the time is over, wherever the program stands then.
void LimitTime() {
    std::signal(SIGALRM, [](int) { _exit(0); });
    const itimerval timer{{0, 0}, {0, limit}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

std::string InOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char letter) { return letter < 0x20; }, ' ');
    return text;
}

/// What was typed so far, and what fits in the place of the last word.
class Completer {
public:
    explicit Completer(const Texts& words) {
        const Texts typed = _WithoutLooseEquals(words);
        if (typed.empty())
            return;
        _current = typed.back();
        const Texts before(typed.begin(), typed.end() - 1);
        for (const std::string& word : before)
            _Read(word);
    }

    Texts Lines() {
        const size_t equals = _current.find('=');
        if (!_isOnlyWords && !_option && _current.starts_with("--") && equals != std::string::npos) {
            _option = FindOption(_command, _current.substr(0, equals));
            _prefix = _current.substr(0, equals + 1);
            _current = _current.substr(equals + 1);
        }
        if (_option)
            _OfferValues(*_option);
        else if (_current.starts_with('-') && !_isOnlyWords)
            _OfferOptions();
        else if (!_command)
            _OfferCommands();
        else
            _OfferWord();
        return _lines;
    }

private:
    /// bash makes three words of "--device=front"; the last may still be missing.
    static Texts _WithoutLooseEquals(const Texts& words) {
        Texts kept;
        for (size_t at = 0; at < words.size(); ++at) {
            const bool isLoose = words[at] == "=" && at > 0 && words[at - 1].starts_with("--");
            if (!isLoose)
                kept.push_back(words[at]);
            else if (at + 1 == words.size())
                kept.emplace_back();
        }
        return kept;
    }

    void _Read(const std::string& word) {
        if (_option) {
            _given.Add(_option->Key(), word);
            if (++_valuesRead == _option->count)
                _option = nullptr;
        } else if (_isOnlyWords || !word.starts_with('-')) {
            if (!_command)
                _command = FindCommand(word);
            else
                _ReadWord(word);
        } else if (word == "--") {
            _isOnlyWords = true;
        } else {
            _ReadOption(word);
        }
    }

    void _ReadOption(const std::string& word) {
        const size_t equals = word.find('=');
        const Argument* const option = FindOption(_command, word.substr(0, equals));
        if (option && equals != std::string::npos)
            _given.Add(option->Key(), word.substr(equals + 1));
        else if (option && option->kind == Kind::option)
            _option = option, _valuesRead = 0;
    }

    void _ReadWord(const std::string& word) {
        if (const Argument* const argument = _NextWord()) {
            _given.Add(argument->Key(), word);
            ++_wordsRead;
        }
    }

    /// The argument that the next word is for; null when there is none.
    const Argument* _NextWord() const {
        size_t at = 0;
        for (const Argument& argument : _command->arguments)
            if (!argument.IsOption() && (at++ == _wordsRead || argument.kind == Kind::words))
                return &argument;
        return nullptr;
    }

    void _Offer(const std::string& value, const std::string& what) {
        if (value.starts_with(_current))
            _lines.push_back(_prefix + InOneLine(value) + "\t" + InOneLine(what));
    }

    void _OfferCommands() {
        for (const Command& command : Commands())
            _Offer(command.name, command.help);
    }

    void _OfferOptions() {
        for (const std::vector<Argument>* arguments : {_command ? &_command->arguments : nullptr, &ProgramOptions()})
            for (size_t at = 0; arguments && at < arguments->size(); ++at)
                for (const std::string& name : arguments->at(at).Names())
                    if (arguments->at(at).IsOption())
                        _Offer(name, arguments->at(at).help);
    }

    void _OfferWord() {
        if (const Argument* const argument = _NextWord())
            _OfferValues(*argument);
    }

    void _OfferValues(const Argument& argument) {
        for (const std::string& choice : argument.choices)
            _Offer(choice, "");
        if (argument.offer == Offer::commands)
            _OfferCommands();
        if (argument.offer == Offer::files)
            _lines.emplace_back(":files");
        const std::string field = _given.Text("FIELD");
        if (argument.offer == Offer::fieldValues && (field == "locked" || field == "in-report"))
            for (const char* value : {"true", "false"})
                _Offer(value, "");
        if (argument.offer == Offer::devices)
            _OfferDevices();
        if (argument.offer == Offer::jobs || argument.offer == Offer::media || argument.offer == Offer::contacts)
            _OfferObjects(argument);
    }

    JobsManager _Connect() const {
        return _given.Has("user") ? JobsManager::OfUser(_given.Text("user")) : JobsManager(_given.Text("address"));
    }

    void _OfferDevices() {
        for (const Device& device : _Connect().Devices())
            _Offer(device.id, device.state);
    }

    /// Objects by their IDs, and by the names that stand for them.
    void _OfferObjects(const Argument& argument) {
        JobsManager service = _Connect();
        const Given given = Resolved(service, *_command, _given);
        const std::vector<NamedObject> objects = NamedObjects(service, argument, given, mostJobs);
        for (const NamedObject& object : objects)
            _Offer(object.id, object.name);
        if (!_current.empty() && _lines.empty())
            for (const NamedObject& object : objects)
                _Offer(object.name, object.id);
    }

    const Command* _command = nullptr;
    const Argument* _option = nullptr; ///< whose value comes next
    size_t _valuesRead = 0;
    size_t _wordsRead = 0;
    bool _isOnlyWords = false; ///< after "--"
    Given _given;
    std::string _current;
    std::string _prefix; ///< of what is offered: an option's name and "="
    Texts _lines;
};

} // namespace

void PrintCompletions(const Texts& words) {
    LimitTime();
    try {
        std::string all;
        for (const std::string& line : Completer(words).Lines())
            all += line + "\n";
        setitimer(ITIMER_REAL, nullptr, nullptr);
        std::cout << all << std::flush;
    } catch (const std::exception&) { // there is nobody to tell
    }
}

} // namespace TarnJobs
