#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "RegistrationPage.h"

namespace AppConfigTest {

/// A page of registrations, and what there is to tell of it. Nothing that is refused is tried again by itself.
struct RegistrationPageFixture : testing::Test {
    using Ending = AppConfigHost::RegistrationPage::Ending;

    RegistrationPageFixture() {
        options.firstRegistrationPause = std::chrono::hours(1);
        options.longestRegistrationPause = std::chrono::hours(4);
    }

    AppConfigHost::RegistrationPage::Key key(const std::string& name, int type = 3) {
        return {name, type, page.share("link"), page.share("self")};
    }
    /// A request that registers \p name and ends at once.
    void add(const std::string& name, Ending ending = Ending::done, int error = -16) {
        page.ended(key(name), page.registering(key(name), 20), true, ending, error);
    }
    void remove(const std::string& name, Ending ending = Ending::done) {
        page.ended(key(name), page.unregistering(key(name)), false, ending, -16);
    }
    void shakeHands(bool known) {
        AppConfigWire::Welcome welcome;
        welcome.set_registrations_known(known);
        page.welcomed(welcome);
    }
    /// What the next frame tells: "+name", "-name", and "." when that is all.
    std::vector<std::string> next() {
        const std::optional<AppConfigWire::Frame> frame = page.next();
        if (!frame) return {};
        m_correlation = frame->correlation();
        std::vector<std::string> rows;
        for (const AppConfigWire::Registration& row : frame->registration()) rows.push_back("+" + row.name());
        for (const AppConfigWire::Registration& row : frame->withdrawn()) rows.push_back("-" + row.name());
        if (frame->complete()) rows.push_back(".");
        return rows;
    }
    /// Answers it; the rows with those indices are refused.
    bool answer(const std::vector<unsigned>& refused = {}, int error = -16) {
        AppConfigWire::Frame frame;
        frame.set_kind(AppConfigWire::REGISTERED);
        frame.set_correlation(m_correlation);
        for (const unsigned index : refused) {
            AppConfigWire::Refusal* refusal = frame.add_refusal();
            refusal->set_index(index);
            refusal->set_error(error);
        }
        return page.answered(frame);
    }
    std::uint64_t confirmed() {
        AppConfigWire::Hello hello;
        page.describe(hello);
        return hello.registrations();
    }

    PbUtility::TransportOptions options;
    AppConfigHost::RegistrationPage page{options};

private:
    std::uint64_t m_correlation = 0;
};

}  // namespace AppConfigTest
