#include "RegistrationPage.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "wire/RegistrationDigest.h"

// A request on any thread may change a row while a frame with it is under way, and the client cannot know in which
// order the service handles the two. So neither is trusted: once the frame is answered, the row is sent again as it is
// then. Sending a row twice changes nothing, so this ends as soon as the row is no longer changed.

namespace AppConfigHost {

namespace {

constexpr std::size_t mostRows = 256;
constexpr std::size_t mostBytes = std::size_t{32} * 1024;
constexpr int generalError = -1;

std::uint64_t digestOf(const RegistrationPage::Key& key) {
    return AppConfigWire::digestOf(RegistrationName{*key.requester, key.name, key.type, *key.callback});
}

}  // namespace

RegistrationPage::RegistrationPage(const PbUtility::TransportOptions& options)
    : m_options(options), m_pause(options.firstRegistrationPause) {}

bool RegistrationPage::Less::operator()(const Key& a, const Key& b) const {
    return std::tie(a.name, a.type, *a.callback, *a.requester) < std::tie(b.name, b.type, *b.callback, *b.requester);
}

void RegistrationPage::set(Rows::iterator row, State state) {
    Row& it = row->second;
    if (it.state == State::queued) m_queue.erase(it.place);
    if (it.state == State::refused) m_refused.erase(it.place);
    if (it.state == State::confirmed && it.held) {
        --m_confirmed;
        m_digest -= digestOf(row->first);
    }
    it.state = state;
    it.place = ++m_last;
    if (state == State::queued) m_queue.emplace(it.place, row);
    if (state == State::refused) m_refused.emplace(it.place, row);
    if (state == State::confirmed) {
        ++m_confirmed;
        m_digest += digestOf(row->first);
    }
}

void RegistrationPage::renumber(Row& row) {
    row.number = ++m_last;
    row.retried = false;
}

void RegistrationPage::confirm(Rows::iterator row) {
    set(row, State::confirmed);
    row->second.retried = false;
    setError(row, 0, true);
}

void RegistrationPage::refuse(Rows::iterator row, int error) {
    set(row, State::refused);
    row->second.retried = false;
    // The application does not wait for what cannot be withdrawn at the moment.
    if (row->second.held) setError(row, error, true);
    tryAgainLater();
}

void RegistrationPage::tryAgainLater() {
    if (m_nextTry.time() == Deadline::never().time()) m_nextTry = Deadline::after(m_pause);
}

void RegistrationPage::setError(Rows::iterator row, int error, bool report) {
    int& now = row->second.error;
    if (now == error) return;
    m_troubled += now == 0 ? 1 : 0;
    m_troubled -= error == 0 ? 1 : 0;
    now = error;
    if (report && m_options.onRegistration) m_reports.push_back({{}, row->first.name, row->first.type, error});
}

void RegistrationPage::erase(Rows::iterator row) {
    set(row, State::asking);
    setError(row, 0, false);
    m_rows.erase(row);
}

void RegistrationPage::withdraw(const Key& key) {
    const auto row = m_rows.try_emplace(key).first;
    setError(row, 0, false);
    renumber(row->second);
    // While it is held still, since it may be confirmed and then counts.
    queue(row);
    row->second.held = false;
}

std::uint64_t RegistrationPage::registering(const Key& key, int role) {
    const auto [row, added] = m_rows.try_emplace(key);
    Row& it = row->second;
    it.role = role;
    renumber(it);
    // Rows that are queued or under way stay so: whether the request or the frame arrives first then makes no
    // difference.
    if (!added && (it.state == State::refused || !it.held)) set(row, State::asking);
    it.held = true;
    return it.number;
}

std::uint64_t RegistrationPage::unregistering(const Key& key) {
    const auto row = m_rows.try_emplace(key).first;
    set(row, State::asking);
    setError(row, 0, false);
    row->second.held = false;
    renumber(row->second);
    return row->second.number;
}

void RegistrationPage::unregisteringAll(const std::string& requester) {
    for (auto row = m_rows.begin(); row != m_rows.end();) {
        const auto next = std::next(row);
        if (*row->first.requester == requester) erase(row);
        row = next;
    }
}

std::vector<RegistrationPage::Held> RegistrationPage::held() const {
    std::vector<Held> all;
    for (const auto& [key, row] : m_rows) {
        if (row.held) all.push_back({key, row.role});
    }
    return all;
}

void RegistrationPage::adopt(const Key& key, int role) {
    const auto row = m_rows.try_emplace(key).first;
    row->second.role = role;
    row->second.held = true;
    renumber(row->second);
    queue(row);
}

void RegistrationPage::withdrawAll(const std::string& requester) {
    for (const Held& one : held()) {
        if (*one.key.requester == requester) withdraw(one.key);
    }
}

void RegistrationPage::withdrawAll() {
    for (const Held& one : held()) withdraw(one.key);
}

void RegistrationPage::ended(const Key& key, std::uint64_t number, bool registered, Ending ending, int error) {
    const auto row = m_rows.find(key);
    if (row == m_rows.end()) {
        // Withdrawn meanwhile, perhaps before the service added it.
        if (registered && ending != Ending::refused) withdraw(key);
        return;
    }
    Row& it = row->second;
    if (it.number != number) {
        // A frame that is under way may have arrived before this request; then its answer settles nothing.
        if (it.state == State::sent) {
            renumber(it);
        } else {
            queue(row);
        }
        return;
    }
    if (it.state != State::asking && it.state != State::confirmed) return;
    if (!registered) {
        if (ending == Ending::done) return erase(row);
        return queue(row);
    }
    if (ending == Ending::refused) return refuse(row, error != 0 ? error : generalError);
    // The service has replied as for a client that registers now and knows what it has read. Handlers of earlier,
    // failed attempts have been waiting since before, so a frame sends the row once more.
    if (ending == Ending::done && it.error == 0) return confirm(row);
    if (it.state == State::asking) queue(row);
}

void RegistrationPage::queueAll() {
    for (auto row = m_rows.begin(); row != m_rows.end(); ++row) {
        if (row->second.state != State::sent) queue(row);
    }
    m_complete = true;
}

void RegistrationPage::describe(Hello& hello) {
    ++m_descriptions;
    hello.set_registrations(m_confirmed);
    hello.set_registrations_digest(m_digest);
}

void RegistrationPage::welcomed(const Welcome& welcome) {
    m_speaks = welcome.has_registrations_known();
    m_pause = m_options.firstRegistrationPause;
    m_nextTry = Deadline::never();
    m_complete = m_completeRefused = false;
    while (!m_refused.empty()) queue(m_refused.begin()->second);
    if (m_speaks && !welcome.registrations_known()) queueAll();
}

void RegistrationPage::lost() {
    m_underWay = false;
    for (const Sent& sent : std::exchange(m_sent, {})) {
        const auto row = m_rows.find(sent.key);
        if (row != m_rows.end()) {
            if (row->second.state == State::sent) queue(row);
        } else if (sent.held) {
            withdraw(sent.key);
        }
    }
    m_speaks = false;
}

std::optional<Frame> RegistrationPage::next() {
    if (m_underWay || !m_speaks) return std::nullopt;
    if (m_nextTry.passed()) {
        m_nextTry = Deadline::never();
        m_pause = std::min(m_pause * 2, m_options.longestRegistrationPause);
        m_complete = m_complete || std::exchange(m_completeRefused, false);
        while (!m_refused.empty()) {
            m_refused.begin()->second->second.retried = true;
            queue(m_refused.begin()->second);
        }
    }
    if (m_queue.empty() && !m_complete) return std::nullopt;

    Frame frame;
    frame.set_kind(REGISTRATIONS);
    frame.set_correlation(++m_correlation);
    std::vector<Sent> withdrawn;
    std::size_t bytes = 0;
    while (!m_queue.empty() && m_sent.size() + withdrawn.size() < mostRows) {
        const auto row = m_queue.begin()->second;
        const Row& it = row->second;
        Registration one;
        one.set_requester(*row->first.requester);
        one.set_name(row->first.name);
        one.set_type(row->first.type);
        one.set_callback(*row->first.callback);
        if (it.held) one.set_role(it.role);
        bytes += one.ByteSizeLong();
        if (bytes > mostBytes && m_sent.size() + withdrawn.size() > 0) break;
        (it.held ? m_sent : withdrawn).push_back({row->first, it.number, it.held});
        *(it.held ? frame.add_registration() : frame.add_withdrawn()) = std::move(one);
        set(row, State::sent);
    }
    m_sent.insert(m_sent.end(), withdrawn.begin(), withdrawn.end());
    m_sentComplete = m_complete && m_queue.empty();
    if (m_sentComplete) {
        frame.set_complete(true);
        m_complete = false;
    }
    m_underWay = true;
    return frame;
}

bool RegistrationPage::answered(const Frame& registered) {
    if (!m_underWay || registered.correlation() != m_correlation) return false;
    const std::size_t places = m_sent.size() + (m_sentComplete ? 1 : 0);
    std::vector<int> errors(places, 0);
    for (const Refusal& refusal : registered.refusal()) {
        if (refusal.index() >= places) return false;
        errors[refusal.index()] = refusal.error() != 0 ? refusal.error() : generalError;
    }
    m_underWay = false;
    const std::vector<Sent> sent = std::exchange(m_sent, {});
    for (std::size_t i = 0; i < sent.size(); ++i) settle(sent[i], errors[i]);
    if (m_sentComplete && errors.back() != 0) {
        m_completeRefused = true;
        tryAgainLater();
    }
    // While the service refuses, it need not be sent all the rest.
    if (std::all_of(errors.begin(), errors.end(), [](int error) { return error != 0; })) giveUpRetrying(sent);
    if (m_refused.empty() && !m_completeRefused) m_pause = m_options.firstRegistrationPause;
    return true;
}

void RegistrationPage::settle(const Sent& sent, int error) {
    const auto row = m_rows.find(sent.key);
    if (row == m_rows.end()) {
        if (sent.held && error == 0) withdraw(sent.key);
        return;
    }
    Row& it = row->second;
    if (it.number != sent.number) {
        // Another request named it meanwhile, and one of the two came last.
        if (it.held || sent.held) queue(row);
        return;
    }
    if (it.state != State::sent) return;
    if (error != 0) return refuse(row, error);
    if (it.held) return confirm(row);
    erase(row);
}

void RegistrationPage::giveUpRetrying(const std::vector<Sent>& tried) {
    std::vector<Rows::iterator> left;
    for (const auto& entry : m_queue) {
        if (entry.second->second.retried) left.push_back(entry.second);
    }
    if (left.empty()) return;
    for (const Rows::iterator row : left) refuse(row, row->second.error);
    // Next time it is the others' turn.
    for (const Sent& sent : tried) {
        const auto row = m_rows.find(sent.key);
        if (row != m_rows.end() && row->second.state == State::refused) set(row, State::refused);
    }
}

}  // namespace AppConfigHost
