#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "core/Core.h"
#include "process/Operation.h"
#include "process/ProcessCode.h"

namespace Simulation {

/// Counts what services store, all of them together: a later moment has the greater number. 0 lies before everything.
using Moment = std::uint64_t;

/// A variable as one service held it from one moment to the next.
struct State {
    Moment since = 0;
    bool defined = false;
    Texts value;
    bool isDefault = false;  ///< by its contents, as the service sees it
    Texts options;
    unsigned index = 0;
    int read = 0;
    int write = 0;
};

/// \return whether both are the same as far as \p news tells.
bool same(const State& a, const State& b, News news);

/// Everything that the services of a simulation have held, as their stores were told. Not thread-safe.
class History {
public:
    History(int services, int variables);

    /// Says whether a row's value is the default under the definitions that the service uses. To be set first.
    std::function<bool(int service, const AppConfigService::VariableRow&)> isDefault;

    Moment now() const { return m_now; }

    /// The service has stored \p batch.
    void stored(int service, const AppConfigService::Batch& batch);
    /// The service was started, or has read other definitions: it holds what \p core says.
    void adopted(int service, const AppConfigService::Core& core);

    const State& present(int service, int variable) const { return states(service, variable).back(); }
    /// \return the state that held at \p moment.
    const State& at(int service, int variable, Moment moment) const;

    /// \return whether the variable held \p value at some moment from \p from on.
    bool held(int service, int variable, const Texts& value, Moment from) const;
    /// \return the first moment in (\p from, \p to] at which \p matches became true of the variable's state; when there
    /// is none but it was true at \p from, the moment since when it was; else 0.
    template <typename Matches>
    Moment firstWithin(int service, int variable, Moment from, Moment to, Matches&& matches) const;
    /// \return the last moment at which the variable came to hold \p value; 0 when it never did.
    Moment lastOf(int service, int variable, const Texts& value) const;

    /// \return whether the value has ever become the default, or ceased to be, without changing itself: by new options
    /// or definitions.
    bool flagChangedAlone(int service, int variable) const;

private:
    using States = std::vector<State>;

    std::size_t place(int service, int variable) const;
    const States& states(int service, int variable) const;
    States& states(int service, int variable);
    void add(int service, int variable, State state);
    State stateOf(int service, const AppConfigService::VariableRow& row) const;

    const int m_variables;
    std::vector<States> m_states;
    Moment m_now = 0;
};

template <typename Matches>
Moment History::firstWithin(int service, int variable, Moment from, Moment to, Matches&& matches) const {
    Moment before = 0;
    for (const State& state : states(service, variable)) {
        if (state.since > to) break;
        if (!matches(state)) {
            if (state.since <= from) before = 0;
            continue;
        }
        if (state.since > from) return before != 0 ? before : state.since;
        before = state.since;
    }
    return before;
}

}  // namespace Simulation
