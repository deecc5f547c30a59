#include "script/ScriptText.h"

#include <cstdlib>
#include <sstream>

#include "script/ActionNames.h"

namespace Simulation {

namespace {

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

void write(std::ostream& out, const Operation& operation) {
    out << "  " << nameOf(operation.action);
    if (operation.link != 0) out << " link " << operation.link;
    out << " variable " << operation.variable;
    if (operation.slot != 0) out << " slot " << operation.slot;
    if (operation.number != 0) out << " number " << operation.number;
    if (operation.read >= 0) out << " read " << operation.read;
    if (operation.write >= 0) out << " write " << operation.write;
    if (operation.wholeNode) out << " whole-node";
    for (const std::string& text : operation.value) out << ' ' << quoted(text);
    out << '\n';
}

void write(std::ostream& out, const char* what, const std::vector<HandlerPlan>& plans) {
    std::size_t count = plans.size();
    // Slots behind the last plan do nothing anyway.
    while (count > 0 && plans[count - 1].slowness == 0 && plans[count - 1].reactions.empty()) --count;
    for (std::size_t i = 0; i < count; ++i) {
        out << what << " slowness " << plans[i].slowness << '\n';
        for (const Operation& operation : plans[i].reactions) write(out, operation);
    }
}

/// Reads the words of one line; a text in quotes is one word, which keeps its first quote.
class Words {
public:
    explicit Words(const std::string& line) : m_line(line) {}

    bool next(std::string& word) {
        while (m_at < m_line.size() && m_line[m_at] == ' ') ++m_at;
        if (m_at == m_line.size()) return false;
        const bool isText = m_line[m_at] == '"';
        const std::size_t end = isText ? m_line.find('"', m_at + 1) : m_line.find(' ', m_at);
        word = m_line.substr(m_at, end == std::string::npos ? end : end - m_at);
        m_at = end == std::string::npos ? m_line.size() : end + (isText ? 1 : 0);
        return true;
    }

    /// Reads the number behind \p name.
    bool number(const char* name, int& number) {
        std::string word;
        return next(word) && word == name && next(word) && read(word, number);
    }

    bool number(int& number) {
        std::string word;
        return next(word) && read(word, number);
    }

private:
    static bool read(const std::string& word, int& number) {
        char* end = nullptr;
        number = static_cast<int>(std::strtol(word.c_str(), &end, 10));
        return *end == '\0';
    }

    const std::string& m_line;
    std::size_t m_at = 0;
};

class Reader {
public:
    explicit Reader(Script& script) : m_script(script) {}

    bool line(const std::string& text) {
        Words words(text);
        std::string first;
        if (!words.next(first) || first.front() == '#') return true;
        if (frame(first, words)) return true;
        if (first == "process") return process(words);
        if (first == "fault") return fault(words);
        if (m_script.processes.empty()) return false;
        ProcessScript& process = m_script.processes.back();
        if (first == "consumer") return handler(process.consumers, words);
        if (first == "provider") return handler(process.providers, words);
        if (first == "thread") {
            process.threads.emplace_back();
            m_into = &process.threads.back().setUp;
            return true;
        }
        if (first == "then" && !process.threads.empty()) {
            m_into = &process.threads.back().operations;
            return true;
        }
        return operation(first, words);
    }

private:
    bool frame(const std::string& first, Words& words) {
        std::string word;
        int number = 0;
        if (first == "seed") {
            if (!words.next(word)) return false;
            m_script.seed = std::strtoull(word.c_str(), nullptr, 10);
            return true;
        }
        if (first == "schedule") {
            int slow = 0;
            if (!words.number("switch", number) || !words.number("slow", slow)) return false;
            m_script.policy = {static_cast<std::uint32_t>(number), static_cast<std::uint32_t>(slow)};
            return true;
        }
        if (first == "sabotage") {
            if (!words.number(number)) return false;
            m_script.sabotage = static_cast<Sabotage>(number);
            return true;
        }
        if (first == "weather") return words.number(m_script.weather);
        if (first == "services") return words.number(m_script.services);
        if (first == "grace") return words.number(m_script.grace);
        if (first == "provider-deadline") return words.number(m_script.providerDeadline);
        return false;
    }

    bool process(Words& words) {
        m_script.processes.emplace_back();
        int uid = 0;
        if (!words.number("uid", uid) || !words.number("deadline", m_script.processes.back().deadline)) return false;
        m_script.processes.back().uid = static_cast<std::uint32_t>(uid);
        m_into = nullptr;
        return true;
    }

    bool handler(std::vector<HandlerPlan>& plans, Words& words) {
        plans.emplace_back();
        m_into = &plans.back().reactions;
        return words.number("slowness", plans.back().slowness);
    }

    bool fault(Words& words) {
        Fault fault;
        std::string word;
        if (!words.next(word) || !findFault(word, fault.kind)) return false;
        if (!words.number("after", fault.after) || !words.number("service", fault.service) ||
            !words.number("process", fault.process) || !words.number("milliseconds", fault.milliseconds) ||
            !words.number("number", fault.number)) {
            return false;
        }
        m_script.faults.push_back(fault);
        return true;
    }

    bool operation(const std::string& first, Words& words) {
        Operation result;
        if (m_into == nullptr || !findAction(first, result.action)) return false;
        std::string word;
        while (words.next(word)) {
            bool fine = true;
            if (word == "whole-node") {
                result.wholeNode = true;
            } else if (word.front() == '"') {
                result.value.push_back(word.substr(1));
            } else if (word == "link") {
                fine = words.number(result.link);
            } else if (word == "variable") {
                fine = words.number(result.variable);
            } else if (word == "slot") {
                fine = words.number(result.slot);
            } else if (word == "number") {
                fine = words.number(result.number);
            } else if (word == "read") {
                fine = words.number(result.read);
            } else if (word == "write") {
                fine = words.number(result.write);
            } else {
                fine = false;
            }
            if (!fine) return false;
        }
        m_into->push_back(std::move(result));
        return true;
    }

    Script& m_script;
    std::vector<Operation>* m_into = nullptr;  ///< where operations belong
};

}  // namespace

std::string toText(const Script& script) {
    std::ostringstream out;
    out << "seed " << script.seed << "\nschedule switch " << script.policy.switchChance << " slow "
        << script.policy.slowChance << "\nweather " << script.weather << "\nservices " << script.services << "\ngrace "
        << script.grace << "\nprovider-deadline " << script.providerDeadline << '\n';
    if (script.sabotage != Sabotage::none) out << "sabotage " << static_cast<int>(script.sabotage) << '\n';
    for (const ProcessScript& process : script.processes) {
        out << "\nprocess uid " << process.uid << " deadline " << process.deadline << '\n';
        write(out, "consumer", process.consumers);
        write(out, "provider", process.providers);
        for (const ThreadScript& thread : process.threads) {
            out << "thread\n";
            for (const Operation& operation : thread.setUp) write(out, operation);
            out << "then\n";
            for (const Operation& operation : thread.operations) write(out, operation);
        }
    }
    if (!script.faults.empty()) out << '\n';
    for (const Fault& fault : script.faults) {
        out << "fault " << nameOf(fault.kind) << " after " << fault.after << " service " << fault.service << " process "
            << fault.process << " milliseconds " << fault.milliseconds << " number " << fault.number << '\n';
    }
    return out.str();
}

bool fromText(const std::string& text, Script& script, std::string& error) {
    script = Script();
    Reader reader(script);
    std::istringstream in(text);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (reader.line(line)) continue;
        error = "line " + std::to_string(number) + " cannot be read: " + line;
        return false;
    }
    return true;
}

}  // namespace Simulation
