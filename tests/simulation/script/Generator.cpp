#include <algorithm>
#include <utility>

#include "os/Random.h"
#include "script/Script.h"
#include "script/Variables.h"

namespace Simulation {

namespace {

/// What is special about a process.
enum class Shape : std::uint8_t {
    plain,
    late,      ///< handlers before the transport
    racing,    ///< two threads hand the transport over at once
    swapping,  ///< one transport after the other
    moving,    ///< the primary link goes to the second service after a while
    moved,     ///< the same, but first of all and in each of its lives
};

struct Weighted {
    Action action;
    std::uint32_t weight;
};

constexpr Weighted usual[] = {
    {Action::readList, 12},
    {Action::readText, 14},
    {Action::readBool, 3},
    {Action::readInt, 4},
    {Action::readRecord, 12},
    {Action::readIsDefault, 6},
    {Action::readOptions, 6},
    {Action::readOptionsList, 2},
    {Action::readDefaultOptions, 2},
    {Action::readDefaultIndex, 4},
    {Action::readLevels, 5},
    {Action::write, 26},
    {Action::writeUnawaited, 10},
    {Action::reset, 6},
    {Action::validate, 3},
    {Action::setOptions, 3},
    {Action::setOptionsWithIndex, 4},
    {Action::setLevels, 3},
    {Action::setLevelsUnawaited, 2},
    {Action::removeVars, 3},
    {Action::addConsumer, 9},
    {Action::removeConsumer, 4},
    {Action::addProvider, 3},
    {Action::removeProvider, 1},
    {Action::pause, 8},
};

constexpr Weighted fromHandler[] = {
    {Action::readText, 6},   {Action::readRecord, 6},     {Action::readOptions, 2},    {Action::write, 4},
    {Action::reset, 1},      {Action::writeUnawaited, 4}, {Action::setOptions, 1},     {Action::addConsumer, 4},
    {Action::removeVars, 1}, {Action::removeConsumer, 3}, {Action::deleteConsumer, 8},
};

constexpr int consumerSlots = 6;
constexpr int providerSlots = 2;
constexpr int wantedOperations = 270;
constexpr int highestRole = 4;

template <std::size_t count>
Action draw(Random& random, const Weighted (&table)[count]) {
    std::uint32_t sum = 0;
    for (const Weighted& row : table) sum += row.weight;
    std::uint32_t chosen = random.below(sum);
    for (const Weighted& row : table) {
        if (chosen < row.weight) return row.action;
        chosen -= row.weight;
    }
    return Action::pause;
}

class Generator {
public:
    explicit Generator(std::uint64_t seed) : m_random(seed * 0x2545f4914f6cdd1dU + 1) { m_script.seed = seed; }

    Script make() {
        frame();
        const int processes = m_random.between(2, 4);
        const bool moving = m_random.chance(1, 8);
        for (int i = 0; i < processes; ++i) process(moving ? movingShape(i) : shape(), processes);
        faults(processes);
        return std::move(m_script);
    }

private:
    void frame() {
        constexpr std::uint32_t chances[] = {16, 100, 300, 600, 1024};
        m_script.policy.switchChance = chances[m_random.below(5)];
        m_script.policy.slowChance = m_random.chance(1, 3) ? 300 : 0;
        m_script.weather = m_random.between(0, weathers - 1);
        m_script.grace = m_random.chance(1, 3) ? 1500 : 300'000;
        m_script.providerDeadline = m_random.chance(1, 3) ? 300 : 2000;
        const int hot = m_random.between(1, 3);
        for (int i = 0; i < hot; ++i) m_hot.push_back(anyVariable());
    }

    int anyVariable() { return m_random.between(0, static_cast<int>(variables().size()) - 1); }
    int variable() {
        if (m_random.chance(6, 10)) return m_hot[m_random.below(static_cast<std::uint32_t>(m_hot.size()))];
        return anyVariable();
    }
    static Type typeOf(int variable) { return variables()[static_cast<std::size_t>(variable)].type; }

    int number(bool refusable) {
        constexpr int step = 100;
        constexpr int refused = 13;
        return ++m_unique * step + (refusable ? refused : 50);
    }

    Texts value(int variable) {
        const std::string unique = std::to_string(number(m_random.chance(1, 8)));
        switch (typeOf(variable)) {
            case Type::text: return {"w" + unique};
            case Type::number: return {unique};
            case Type::flag: return {m_random.chance(1, 2) ? "true" : "false"};
            case Type::list: return {"w" + unique, "x"};
            case Type::option: break;
        }
        constexpr const char* options[] = {"day", "night", "auto", "one", "two", "three"};
        return {options[m_random.below(6)]};
    }

    Texts options() {
        Texts all = {"day", "night", "auto", "one", "two"};
        for (std::size_t i = all.size() - 1; i > 0; --i)
            std::swap(all[i], all[m_random.below(static_cast<std::uint32_t>(i) + 1)]);
        all.resize(m_random.below(4) + 1);
        // Half of the lists are like others, so that only the index tells them apart.
        if (m_random.chance(1, 2)) all.push_back("o" + std::to_string(number(false)));
        return all;
    }

    Operation operation(Action action) {
        Operation result;
        result.action = action;
        result.variable = variable();
        switch (action) {
            case Action::readBool: result.variable = Special::flag; break;
            case Action::readInt:
                result.variable = m_random.chance(1, 2) ? Special::number : Special::ownedNumber;
                break;
            case Action::write:
            case Action::writeUnawaited:
            case Action::validate: result.value = value(result.variable); break;
            case Action::setOptionsWithIndex:
            case Action::setOptions:
                result.variable = m_random.chance(1, 2) ? Special::mode : Special::choice;
                result.value = options();
                result.number = m_random.between(0, static_cast<int>(result.value.size()) - 1);
                break;
            case Action::setLevels:
            case Action::setLevelsUnawaited: levels(result); break;
            case Action::addConsumer:
            case Action::addConsumerAtLink: consumer(result); break;
            case Action::removeConsumer:
            case Action::deleteConsumer: result.slot = m_random.between(0, consumerSlots - 1); break;
            case Action::addProvider: provider(result); break;
            case Action::removeProvider: result.slot = m_random.between(0, providerSlots - 1); break;
            case Action::setRole: result.number = m_random.between(0, highestRole); break;
            case Action::pause: result.number = m_random.between(0, 40); break;
            default: break;
        }
        return result;
    }

    void levels(Operation& result) {
        if (m_random.chance(1, 2)) result.variable = Special::secret;
        // Mostly such that somebody is still let in.
        if (m_random.chance(1, 2)) result.read = m_random.between(0, 2);
        if (result.read < 0 || m_random.chance(1, 2)) result.write = m_random.between(0, 3);
    }

    void consumer(Operation& result) {
        result.slot = m_random.between(0, consumerSlots - 1);
        result.wholeNode = m_random.chance(1, 4);
        result.number = wantsChange;
        if (m_random.chance(1, 3)) result.number |= wantsOptions;
        if (m_random.chance(1, 3)) result.number |= wantsLevels;
    }

    void provider(Operation& result) {
        result.slot = m_random.between(0, providerSlots - 1);
        result.variable = m_random.chance(3, 4) ? m_random.between(Special::owned, Special::ownedNumber) : variable();
        result.wholeNode = m_random.chance(1, 6);
    }

    HandlerPlan plan(bool isProvider, bool deletes) {
        HandlerPlan result;
        const int reactions = m_random.chance(1, 2) ? m_random.between(1, 4) : 0;
        for (int i = 0; i < reactions; ++i) {
            Action action = draw(m_random, fromHandler);
            if (action == Action::deleteConsumer && !deletes) action = Action::removeConsumer;
            result.reactions.push_back(operation(action));
        }
        if (m_random.chance(1, 3)) result.slowness = m_random.between(1, 20);
        if (isProvider && m_random.chance(1, 10)) result.slowness = m_script.providerDeadline + 200;
        return result;
    }

    Shape shape() {
        switch (m_random.below(10)) {
            case 0:
            case 1: return Shape::late;
            case 2: return Shape::racing;
            case 3: return Shape::swapping;
            default: return Shape::plain;
        }
    }

    /// Two processes move, so that one changes at the second service what the other is told while it moves.
    Shape movingShape(int number) {
        m_script.services = 2;
        if (number > 1) return shape();
        return number == 0 && m_random.chance(1, 2) ? Shape::moving : Shape::moved;
    }

    void process(Shape kind, int processes) {
        ProcessScript result;
        result.uid = m_random.chance(1, 5) ? otherUser : ownUser;
        result.deadline = m_random.chance(1, 4) ? 800 : 5000;
        const bool deletes = kind != Shape::swapping && kind != Shape::moving && kind != Shape::moved;
        for (int i = 0; i < consumerSlots; ++i) result.consumers.push_back(plan(false, deletes));
        for (int i = 0; i < providerSlots; ++i) result.providers.push_back(plan(true, deletes));
        const int threads = m_random.chance(1, 4) ? 3 : 2;
        for (int i = 0; i < threads; ++i)
            result.threads.push_back(thread(kind, i, wantedOperations / processes / threads));
        if (m_random.chance(1, 30)) {
            Operation forget;
            forget.action = Action::forgetAll;
            insert(result.threads[0].operations, forget);
        }
        m_script.processes.push_back(std::move(result));
    }

    void insert(std::vector<Operation>& operations, const Operation& operation) {
        const std::uint32_t at = m_random.below(static_cast<std::uint32_t>(operations.size()) + 1);
        operations.insert(operations.begin() + at, operation);
    }

    ThreadScript thread(Shape kind, int index, int operations) {
        ThreadScript result;
        Operation transport;
        transport.action = Action::setTransport;
        if (index == 0) {
            Operation role = operation(Action::setRole);
            role.number = m_random.chance(1, 2) ? highestRole : m_random.between(1, 3);
            result.setUp.push_back(role);
            if (kind == Shape::late) {
                const int early = m_random.between(1, 3);
                for (int i = 0; i < early; ++i) {
                    result.setUp.push_back(
                        operation(m_random.chance(3, 4) ? Action::addConsumer : Action::addProvider));
                }
            }
        }
        if (kind == Shape::moved) moves(result.setUp, 0, index == 0);
        if (index == 0 || kind == Shape::racing) result.setUp.push_back(transport);
        for (int i = 0; i < operations; ++i) result.operations.push_back(operation(draw(m_random, usual)));
        if (m_random.chance(1, 6)) insert(result.operations, operation(Action::setRole));
        if (kind == Shape::swapping && index == 0) swaps(result.operations);
        if (kind == Shape::moved) usesBoth(result.operations, 0);
        if (kind == Shape::moving) {
            const std::size_t at = result.operations.size() / 4;
            moves(result.operations, at, index == 0);
            usesBoth(result.operations, at + 1);
        }
        return result;
    }

    void swaps(std::vector<Operation>& operations) {
        const int count = m_random.between(1, 3);
        for (int i = 0; i < count; ++i) {
            const std::size_t at =
                operations.size() * static_cast<std::size_t>(i + 1) / static_cast<std::size_t>(count + 1);
            Operation set;
            set.action = Action::setTransport;
            set.slot = (i + 1) % 2;
            auto place = operations.insert(operations.begin() + static_cast<std::ptrdiff_t>(at), set);
            if (i + 1 != count || !m_random.chance(1, 2)) continue;
            // The last one that was replaced is not used again.
            Operation end;
            end.action = Action::endTransport;
            end.slot = i % 2;
            operations.insert(place + 1, end);
        }
    }

    /// From \p at on, the first thread moves the primary link, and the others register and read at it meanwhile.
    void moves(std::vector<Operation>& operations, std::size_t at, bool first) {
        if (first) {
            Operation change;
            change.action = Action::changePrimary;
            change.slot = m_random.chance(1, 2) ? 0 : 2;
            operations.insert(operations.begin() + static_cast<std::ptrdiff_t>(at), change);
        } else {
            // About where the other thread moves the link.
            for (std::size_t i = 0; i < 8; ++i) {
                operations.insert(operations.begin() + static_cast<std::ptrdiff_t>(at),
                                  operation(i % 2 == 0 ? Action::addConsumerAtLink : Action::readAtLink));
            }
        }
    }

    /// From \p from on, half of the operations go to the primary link. They do nothing until it has been moved.
    void usesBoth(std::vector<Operation>& operations, std::size_t from) {
        for (std::size_t i = from; i < operations.size(); ++i) {
            if (m_random.chance(1, 2)) operations[i].link = 1;
        }
    }

    void faults(int processes) {
        constexpr FaultKind kinds[] = {FaultKind::killService,     FaultKind::killService, FaultKind::breakRequests,
                                       FaultKind::breakDeliveries, FaultKind::breakAll,    FaultKind::refuse,
                                       FaultKind::killProcess,     FaultKind::stopProcess, FaultKind::failCommits,
                                       FaultKind::reload,          FaultKind::backUp,      FaultKind::changeWeather,
                                       FaultKind::breakDeliveries};
        constexpr std::uint32_t count = sizeof kinds / sizeof kinds[0];
        const int wanted = m_random.between(7, 12);
        for (int i = 0; i < wanted; ++i) {
            Fault fault;
            fault.kind = kinds[m_random.below(count)];
            fault.after = m_random.between(5, wantedOperations * 8 / 10);
            fault.service = m_random.between(0, m_script.services - 1);
            fault.process = m_random.between(0, processes - 1);
            fault.milliseconds = m_random.chance(1, 4) ? m_random.between(500, 4000) : m_random.between(0, 200);
            fault.number = numberOf(fault.kind);
            m_script.faults.push_back(fault);
        }
        std::stable_sort(m_script.faults.begin(), m_script.faults.end(),
                         [](const Fault& a, const Fault& b) { return a.after < b.after; });
    }

    int numberOf(FaultKind kind) {
        switch (kind) {
            case FaultKind::killService:
                // As often as not the state is kept, so that what must survive is seen to survive.
                return m_random.chance(1, 2) ? m_random.between(0, 1) : m_random.between(2, 3);
            case FaultKind::refuse: return m_random.between(0, 2);
            case FaultKind::reload: return m_random.between(0, definitionSets - 1);
            case FaultKind::changeWeather: return m_random.between(0, weathers - 1);
            default: return 0;
        }
    }

    Random m_random;
    Script m_script;
    std::vector<int> m_hot;
    int m_unique = 0;
};

}  // namespace

Weather weatherOf(int number) {
    using std::chrono::microseconds;
    using std::chrono::milliseconds;
    Weather weather;
    switch (number) {
        case 1: weather.longest = milliseconds(2), weather.late = 300; break;
        case 2: weather.shortest = microseconds(50), weather.longest = milliseconds(40), weather.late = 100; break;
        case 3: weather.pieces = 300, weather.room = 700; break;
        case 4: weather.longest = milliseconds(300), weather.late = 40, weather.pieces = 100; break;
        default: break;
    }
    return weather;
}

Script generate(std::uint64_t seed) {
    return Generator(seed).make();
}

}  // namespace Simulation
