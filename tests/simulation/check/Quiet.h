#pragma once

#include <vector>

#include "check/Ledger.h"

namespace Simulation {

/// Checks that hold once the world is quiet: every fault is over, every connection stands again, and nothing is under
/// way. What is not demanded of caches is what the interface itself leaves open:
/// the default flag after an announcement; the default index after an announcement of options or
/// getConfigDefaultOptions; options that could not be fetched and are cached as none; what was cached before a role or
/// a level fell; and everything after unregisterAllCallbacks.
class Quiet {
public:
    explicit Quiet(Book& book) : m_book(book) {}

    /// What \p code caches at \p link must be what the service holds. To be called in the process.
    void cache(const Ledger& ledger, ProcessCode& code, int link);

    /// Consumers must have been told the newest state, providers must have applied it.
    void handlers(const Ledger& ledger);

    /// \return whether a provider of \p ledger's process judges \p variable at \p service.
    static bool judges(const Ledger& ledger, const Book& book, int service, int variable);

private:
    void record(const Ledger& ledger, int link, int variable, const CachedRecord& cached);
    void index(const Ledger& ledger, int link, int variable, const CachedRecord& cached);
    void handler(const Ledger& ledger, const HandlerRecord& handler, int variable, News news);
    void complain(Check check, const Ledger& ledger, int variable, const std::string& what);

    Book& m_book;
};

}  // namespace Simulation
