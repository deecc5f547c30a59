// Whom the end of a transport waits for.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "CallCounter.h"

namespace {

using AppConfigHost::CallCounter;
using namespace std::chrono_literals;

TEST(CallCounter, LetsCallsInUntilItIsClosed) {
    CallCounter counter;
    const CallCounter::Call before(counter);
    EXPECT_TRUE(before.isAllowed());
    EXPECT_TRUE(counter.close());
    EXPECT_FALSE(counter.close()) << "only one closes it";
    const CallCounter::Call after(counter);
    EXPECT_FALSE(after.isAllowed());
}

/// A call on a thread of its own, which goes on until the test lets it.
class CallUnderWay {
public:
    explicit CallUnderWay(CallCounter& counter)
        : m_thread([this, &counter] {
              const CallCounter::Call call(counter);
              m_entered.set_value(call.isAllowed());
              m_mayLeave.get_future().wait();
              m_leaves.store(true);
          }) {}
    ~CallUnderWay() {
        if (!m_released) m_mayLeave.set_value();
        m_thread.join();
    }

    bool isAllowed() { return m_entered.get_future().get(); }
    void letLeave() {
        m_released = true;
        m_mayLeave.set_value();
    }
    bool leaves() const { return m_leaves.load(); }

private:
    std::promise<bool> m_entered;
    std::promise<void> m_mayLeave;
    std::atomic<bool> m_leaves{false};
    bool m_released = false;
    std::thread m_thread;  ///< last, since it uses the others
};

TEST(CallCounter, AwaitsTheEndOfCallsThatWereLetIn) {
    CallCounter counter;
    CallUnderWay call(counter);
    ASSERT_TRUE(call.isAllowed());
    counter.close();
    auto end = std::async(std::launch::async, [&] {
        counter.awaitNone();
        return call.leaves();
    });
    EXPECT_EQ(end.wait_for(20ms), std::future_status::timeout);
    call.letLeave();
    EXPECT_TRUE(end.get());
}

TEST(CallCounter, AwaitsTheEndOfRefusedCallsOnlyWhenAskedTo) {
    CallCounter counter;
    counter.close();
    CallUnderWay call(counter);
    ASSERT_FALSE(call.isAllowed());
    counter.awaitNone();
    EXPECT_FALSE(call.leaves());
    auto end = std::async(std::launch::async, [&] {
        counter.awaitRefused();
        return call.leaves();
    });
    EXPECT_EQ(end.wait_for(20ms), std::future_status::timeout);
    call.letLeave();
    EXPECT_TRUE(end.get());
}

}  // namespace
