#include "RegistrationBook.h"

#include <algorithm>

#include "MessageIds.h"
#include "ReplyError.h"
#include "configservice.pb.h"

namespace AppConfigHost {

using namespace PbUtility;

namespace {

constexpr std::uint32_t registerId = ConfigIF::messageId("ConfigIF.RegisterClientCallbackReq");
constexpr std::uint32_t unregisterId = ConfigIF::messageId("ConfigIF.UnregisterClientCallbackReq");
constexpr std::uint32_t unregisterAllId = ConfigIF::messageId("ConfigIF.UnregisterAllClientCallbacksReq");

/// One comparison, since every request passes here.
bool mayConcern(std::uint32_t id) {
    static_assert(registerId < unregisterId && unregisterId < unregisterAllId, "the ids lie close together");
    return id - registerId <= unregisterAllId - registerId;
}

template <typename Request>
RegistrationPage::Key keyOf(RegistrationPage& page, const Request& request) {
    std::string name = request.var_name();
    // As the service compares them, so that both count the same registrations.
    for (char& c : name) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c | 0x20 : c);
    return {name, request.type(), page.share(request.callback_name()), page.share(request.client_name())};
}

/// A requester's name ends with the local endpoint of the transport that it uses.
std::string renamed(const std::string& requester, const std::string& from, const std::string& to) {
    const std::size_t rest = requester.size() - std::min(from.size(), requester.size());
    return requester.compare(rest, std::string::npos, from) == 0 ? requester.substr(0, rest) + to : requester;
}

RegistrationPage::Key renamed(RegistrationPage& page, const RegistrationPage::Key& key, const std::string& from,
                              const std::string& to) {
    return {key.name, key.type, page.share(*key.callback), page.share(renamed(*key.requester, from, to))};
}

/// \return the service's error; a number that the enum does not know counts as well.
int errorIn(const Frame& reply) {
    ConfigIF::RegisterClientCallbackRsp response;
    // Both replies carry the error alone, and under the same number.
    return response.ParseFromString(reply.payload()) ? readReplyError(response).error : -1;
}

}  // namespace

bool RegistrationBook::concerns(const Frame& request) {
    return mayConcern(request.message_id());
}

bool RegistrationBook::registers(const Frame& request) {
    return request.kind() == REQUEST && request.message_id() == registerId;
}

RegistrationBook::Call::Call(RegistrationBook& book, const std::string& endpoint, const Frame& request)
    : m_book(book), m_endpoint(endpoint), m_request(request) {
    const std::uint32_t id = request.message_id();
    if (!mayConcern(id)) return;
    const AppConfig::PlainLock lock(m_book.m_mutex);
    m_isLate = m_book.m_handedOver.count(endpoint) != 0;
    RegistrationPage& page = m_book.page(endpoint);
    if (id == registerId) {
        ConfigIF::RegisterClientCallbackReq message;
        if (!message.ParsePartialFromString(request.payload()) || !message.has_type()) return;
        m_key = keyOf(page, message);
        m_role = message.role();
        m_number = page.registering(m_key, m_role);
    } else if (id == unregisterId) {
        ConfigIF::UnregisterClientCallbackReq message;
        if (!message.ParsePartialFromString(request.payload()) || !message.has_type()) return;
        m_key = keyOf(page, message);
        m_number = page.unregistering(m_key);
    } else if (id == unregisterAllId) {
        ConfigIF::UnregisterAllClientCallbacksReq message;
        if (message.ParsePartialFromString(request.payload())) page.unregisteringAll(message.client_name());
    }
}

void RegistrationBook::Call::leaves() {
    if (!mayConcern(m_request.message_id())) return;
    const AppConfig::PlainLock lock(m_book.m_mutex);
    m_descriptions = m_book.page(m_endpoint).descriptions();
}

bool RegistrationBook::Call::end(bool reached, const Frame& reply) {
    const std::uint32_t id = m_request.message_id();
    if (!mayConcern(id)) return false;
    const AppConfig::PlainLock lock(m_book.m_mutex);
    RegistrationPage& page = m_book.page(m_endpoint);
    const int error = reached && m_request.kind() == REQUEST ? errorIn(reply) : 0;
    if (id == unregisterAllId) {
        if (reached && error == 0) return false;
        page.queueAll();
        return true;
    }
    if (m_number == 0) return false;
    // A one-way message has no reply, so its result is unknown.
    auto ending = RegistrationPage::Ending::unknown;
    if (reached && m_request.kind() == REQUEST) {
        ending = error == 0 ? RegistrationPage::Ending::done : RegistrationPage::Ending::refused;
    }
    // A service that was meanwhile told what is confirmed has not heard of this one, and it may be another than the one
    // that replied.
    const bool isOfTheLast = page.descriptions() == m_descriptions;
    if (id == registerId && ending == RegistrationPage::Ending::done && !isOfTheLast) {
        ending = RegistrationPage::Ending::unknown;
    }
    page.ended(m_key, m_number, id == registerId, ending, error);
    return true;
}

void RegistrationBook::Call::repeat(RegistrationBook& other, const std::string& from, const std::string& to) const {
    const AppConfig::PlainLock lock(other.m_mutex);
    RegistrationPage& page = other.page(m_endpoint);
    const std::uint32_t id = m_request.message_id();
    if (id == registerId && m_number != 0) {
        page.adopt(renamed(page, m_key, from, to), m_role);
    } else if (id == unregisterId && m_number != 0) {
        page.withdraw(renamed(page, m_key, from, to));
    } else if (id == unregisterAllId) {
        ConfigIF::UnregisterAllClientCallbacksReq message;
        if (!message.ParsePartialFromString(m_request.payload())) return;
        page.withdrawAll(renamed(message.client_name(), from, to));
    }
}

std::vector<RegistrationPage::Held> RegistrationBook::held(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    return page(endpoint).held();
}

std::vector<RegistrationPage::Held> RegistrationBook::handOver(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    m_handedOver.insert(endpoint);
    return page(endpoint).held();
}

void RegistrationBook::withdrawHandedOver(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    if (m_handedOver.count(endpoint) != 0) page(endpoint).withdrawAll();
}

void RegistrationBook::reopen(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    m_handedOver.erase(endpoint);
}

bool RegistrationBook::isHandedOver(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    return m_handedOver.count(endpoint) != 0;
}

void RegistrationBook::adopt(const std::string& endpoint, const std::vector<RegistrationPage::Held>& rows,
                             const std::string& from, const std::string& to) {
    const AppConfig::PlainLock lock(m_mutex);
    RegistrationPage& mine = page(endpoint);
    for (const RegistrationPage::Held& row : rows) mine.adopt(renamed(mine, row.key, from, to), row.role);
}

RegistrationPage& RegistrationBook::page(const std::string& endpoint) {
    return m_pages.try_emplace(endpoint, m_options).first->second;
}

void RegistrationBook::describe(const std::string& endpoint, Hello& hello) {
    const AppConfig::PlainLock lock(m_mutex);
    page(endpoint).describe(hello);
}

void RegistrationBook::welcomed(const std::string& endpoint, const Welcome& welcome) {
    const AppConfig::PlainLock lock(m_mutex);
    page(endpoint).welcomed(welcome);
}

void RegistrationBook::lost(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    page(endpoint).lost();
}

std::optional<Frame> RegistrationBook::next(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    return page(endpoint).next();
}

bool RegistrationBook::answered(const std::string& endpoint, const Frame& registered) {
    const AppConfig::PlainLock lock(m_mutex);
    return page(endpoint).answered(registered);
}

bool RegistrationBook::isSettled(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    return page(endpoint).isSettled();
}

Deadline RegistrationBook::nextTry(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    return page(endpoint).nextTry();
}

RegistrationBook::Condition RegistrationBook::condition(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    RegistrationPage& found = page(endpoint);
    Condition condition{found.refused(), found.takeReports()};
    for (RegistrationReport& report : condition.reports) report.endpoint = endpoint;
    return condition;
}

}  // namespace AppConfigHost
