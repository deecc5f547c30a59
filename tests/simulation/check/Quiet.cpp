#include "check/Quiet.h"

#include "script/Variables.h"

namespace Simulation {

namespace {

std::string holds(int service, const std::string& what) {
    return "; s" + std::to_string(service + 1) + " holds " + what;
}

std::string levels(int read, int write) {
    return std::to_string(read) + " and " + std::to_string(write);
}

std::string text(const State& state, News news) {
    if (news == News::levels) return "levels " + levels(state.read, state.write);
    return quoted(news == News::options ? state.options : state.value);
}

}  // namespace

void Quiet::complain(Check check, const Ledger& ledger, int variable, const std::string& what) {
    m_book.ground.note(ledger.life().name, "VIOLATION", what);
    m_book.findings.add(check, ledger.life().name + ": " + display(variable) + ": " + what);
}

void Quiet::cache(const Ledger& ledger, ProcessCode& code, int link) {
    if (ledger.isForgotten(link) || !ledger.hasTransport(link)) return;
    for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
        const CachedRecord cached = code.inspect(link, i);
        if (cached.present) record(ledger, link, i, cached);
    }
}

void Quiet::record(const Ledger& ledger, int link, int variable, const CachedRecord& cached) {
    const State& state = m_book.history.present(link, variable);
    if (!state.defined) return;
    const Ledger::Belief& belief = ledger.belief(link, variable);
    if (ledger.mayKnow(link, state)) {
        if (!cached.value.empty() && cached.value != state.value) {
            complain(Check::cachedValue, ledger, variable,
                     "the cache holds " + quoted(cached.value) + holds(link, quoted(state.value)));
        } else if (!cached.value.empty() && !ledger.isFlagOpen(link, variable) && cached.isDefault != state.isDefault) {
            complain(Check::cachedFlag, ledger, variable,
                     std::string("the cached flag says ") + (cached.isDefault ? "default" : "no default") +
                         holds(link, quoted(state.value)));
        }
        const bool excused = belief.optionsFailed && cached.options.empty();
        if (cached.hasOptions && cached.options != state.options && !excused) {
            complain(Check::cachedOptions, ledger, variable,
                     "the cache holds the options " + quoted(cached.options) + holds(link, quoted(state.options)));
        }
        index(ledger, link, variable, cached);
    }
    const bool differs =
        (cached.hasRead && cached.read != state.read) || (cached.hasWrite && cached.write != state.write);
    if (differs) {
        complain(Check::cachedLevels, ledger, variable,
                 "the cache holds the levels " + levels(cached.read, cached.write) +
                     holds(link, levels(state.read, state.write)));
    }
}

void Quiet::index(const Ledger& ledger, int link, int variable, const CachedRecord& cached) {
    const State& state = m_book.history.present(link, variable);
    const Ledger::Belief& belief = ledger.belief(link, variable);
    if (!cached.hasOptions || belief.indexOpen != 0 || belief.optionsFailed || cached.index == state.index) return;
    complain(Check::cachedIndex, ledger, variable,
             "the cached default index is " + std::to_string(cached.index) + holds(link, std::to_string(state.index)));
}

void Quiet::handlers(const Ledger& ledger) {
    for (const auto& [number, handler] : ledger.handlers()) {
        if (handler.phase != HandlerRecord::Phase::live || ledger.isForgotten(handler.link)) continue;
        if (!ledger.hasTransport(handler.link)) continue;
        for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
            if (!handler.covers(i)) continue;
            for (const News news : {News::value, News::options, News::levels, News::change}) {
                if (handler.wants(news)) this->handler(ledger, handler, i, news);
            }
        }
    }
}

void Quiet::handler(const Ledger& ledger, const HandlerRecord& handler, int variable, News news) {
    const int service = handler.link;
    const State& state = m_book.history.present(service, variable);
    if (!state.defined || (news != News::levels && !ledger.mayKnow(handler.link, state))) return;
    const Check check = news == News::change ? Check::provider : Check::consumer;
    const std::string who = "handler " + std::to_string(handler.number);
    const auto told = handler.told.find({news, variable});
    if (told == handler.told.end()) {
        const State& bound = m_book.history.at(service, variable, handler.boundOf(news));
        const bool unchanged = bound.defined && same(bound, state, news);
        // What was sent although nothing had changed is owed to nobody who has heard it in another way.
        const bool heard = unchanged && same(ledger.belief(handler.link, variable).heard, state, news);
        const bool owed = handler.owed.count({news, variable}) != 0 && !heard;
        if (!owed && (!bound.defined || unchanged || handler.unlearnt.count({news, variable}) != 0)) return;
        return complain(check, ledger, variable,
                        who + (owed ? " was never told what was sent for it" : " was never told of a change") +
                            holds(service, text(state, news)));
    }
    State believed = state;
    believed.value = believed.options = told->second.contents;
    believed.read = told->second.read;
    believed.write = told->second.write;
    if (same(believed, state, news)) return;
    complain(check, ledger, variable,
             who + " was told last " + text(believed, news) + holds(service, text(state, news)));
}

bool Quiet::judges(const Ledger& ledger, const Book& book, int service, int variable) {
    // The highest level of all definitions: under a lower one the registration may still wait to be tried again. Levels
    // that somebody has raised since do not count, nor does the role that the process has claimed.
    const int level = variable == Special::secret ? 3 : 0;
    if (book.lowestCap(service, ledger.uid()) < level) return false;
    for (const auto& [number, handler] : ledger.handlers()) {
        const bool stands = handler.isProvider && handler.phase == HandlerRecord::Phase::live &&
                            handler.link == service && handler.covers(variable);
        if (stands && ledger.hasTransport(handler.link) && !ledger.isForgotten(handler.link)) return true;
    }
    return false;
}

}  // namespace Simulation
