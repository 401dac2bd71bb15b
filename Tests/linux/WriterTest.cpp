#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelLinux/bluez/Writer.hpp>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using bluez::EventLoop;
using bluez::SegmentLength;
using bluez::Writer;

TEST(SegmentLength, growsWhileFencesThatHoldValuesUpReturnSoon) {
    SegmentLength length;
    EXPECT_EQ(length.bytes(), 8192U);
    length.fenceReturned(99ms, true);
    EXPECT_EQ(length.bytes(), 12288U);
    for (int i = 0; i < 10; ++i) {
        length.fenceReturned(1ms, true);
    }
    EXPECT_EQ(length.bytes(), SegmentLength::greatest);
}

TEST(SegmentLength, staysWhenAFenceLastsAsLongAsItsSegmentOrNobodyWaitedForIt) {
    SegmentLength length;
    length.fenceReturned(100ms, true);
    length.fenceReturned(250ms, true);
    length.fenceReturned(1ms, false);
    EXPECT_EQ(length.bytes(), SegmentLength::first);
}

TEST(SegmentLength, shrinksOnASlowLinkDownToTheLeast) {
    SegmentLength length;
    length.fenceReturned(251ms, true);
    EXPECT_EQ(length.bytes(), 5461U);
    for (int i = 0; i < 10; ++i) {
        length.fenceReturned(2s, false);
    }
    EXPECT_EQ(length.bytes(), SegmentLength::least);
}

/// A writer on its loop, with the daemon's end of the socket.
class WriterTest : public ::testing::Test {
protected:
    WriterTest() {
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
            throw std::runtime_error("no socket");
        }
        daemon_ = ends[0];
        onLoop([&] {
            writer_ = std::make_unique<Writer>(
                loop_, Writer::Callbacks{.wrote = [] {},
                                         .fence = [this] { arrivedBeforeFence_.push_back(arrived()); },
                                         .broken = [] {}});
            writer_->open(ends[1]);
        });
    }
    ~WriterTest() override {
        onLoop([&] { writer_.reset(); });
        loop_.end();
        ::close(daemon_);
    }

    template <typename Task>
    void onLoop(Task task) {
        std::promise<void> done;
        loop_.post([&] {
            task();
            done.set_value();
        });
        done.get_future().wait();
    }
    void write(int count) {
        onLoop([&] {
            for (int i = 0; i < count; ++i) {
                writer_->write(Bytes(400, 1));
            }
        });
    }
    /// Values that have come into the socket so far.
    int arrived() {
        std::array<char, 1024> value{};
        while (::recv(daemon_, value.data(), value.size(), MSG_DONTWAIT) > 0) {
            ++arrived_;
        }
        return arrived_;
    }
    bool arriveAtLast(int count) {
        for (const auto end = std::chrono::steady_clock::now() + 30s; std::chrono::steady_clock::now() < end;) {
            int now = 0;
            onLoop([&] { now = arrived(); });
            if (now >= count) {
                return now == count;
            }
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    static constexpr int valuesOfASegment = 21; ///< of 400 bytes; 8,192 are more than 20

    EventLoop loop_;
    std::unique_ptr<Writer> writer_;
    std::vector<int> arrivedBeforeFence_;
    int daemon_ = -1;
    int arrived_ = 0;
};

TEST_F(WriterTest, keepsTheNextSegmentBackUntilTheRequestHasItsHeadStart) {
    onLoop([&] {
        for (int i = 0; i < 100; ++i) {
            writer_->write(Bytes(400, 1));
        }
        EXPECT_EQ(arrived(), valuesOfASegment);
    });
    EXPECT_TRUE(arriveAtLast(2 * valuesOfASegment));
    onLoop([&] { EXPECT_EQ(arrivedBeforeFence_, std::vector{valuesOfASegment}) << "one request at a time"; });
}

TEST_F(WriterTest, asksForTheNextFenceBeforeMoreFollows) {
    write(100);
    ASSERT_TRUE(arriveAtLast(2 * valuesOfASegment));
    std::this_thread::sleep_for(20ms); // as long as a radio takes at the least
    onLoop([&] {
        writer_->fenceReturned();
        EXPECT_EQ(arrivedBeforeFence_, (std::vector{valuesOfASegment, 2 * valuesOfASegment}));
        EXPECT_EQ(arrived(), 2 * valuesOfASegment);
    });
}

TEST_F(WriterTest, givesNoHeadStartWhereAWholeSegmentIsGoneAtOnce) {
    onLoop([&] {
        for (int i = 0; i < 100; ++i) {
            writer_->write(Bytes(400, 1));
        }
        writer_->fenceReturned();
        EXPECT_EQ(arrived(), 3 * valuesOfASegment);
        EXPECT_EQ(arrivedBeforeFence_, (std::vector{valuesOfASegment, 2 * valuesOfASegment}));
    });
}

/// Most of the segment was gone long ago.
TEST_F(WriterTest, givesAHeadStartAfterAPauseHoweverSoonTheFenceReturns) {
    write(valuesOfASegment - 1);
    std::this_thread::sleep_for(20ms);
    onLoop([&] {
        for (int i = 0; i < 100; ++i) {
            writer_->write(Bytes(400, 1));
        }
        writer_->fenceReturned();
        EXPECT_EQ(arrived(), 2 * valuesOfASegment);
    });
}

TEST_F(WriterTest, writesAllThatIsHeldUpAsFencesReturn) {
    write(300);
    for (int fences = 0; fences < 20; ++fences) {
        onLoop([&] { writer_->fenceReturned(); });
    }
    EXPECT_TRUE(arriveAtLast(300));
    onLoop([&] { EXPECT_TRUE(writer_->isEmpty()); });
}

TEST_F(WriterTest, isClosedInTheMiddleOfAHeadStart) {
    write(100);
    onLoop([&] {
        writer_->close();
        EXPECT_EQ(writer_->takeQueue().size(), 100U - valuesOfASegment);
    });
    std::this_thread::sleep_for(10ms);
    onLoop([&] { EXPECT_EQ(arrived(), valuesOfASegment); });
}

/// A promise that this is called, which the caller may go before.
std::pair<std::function<void()>, std::future<void>> announcement() {
    const auto promise = std::make_shared<std::promise<void>>();
    return {[promise] { promise->set_value(); }, promise->get_future()};
}

TEST(EventLoop, runsNothingMoreOnceATaskHasEndedIt) {
    for (const std::string from : {"posted", "due", "source", "watched"}) {
        const auto ended = std::make_shared<int>(0); // of the loop's thread
        const auto late = std::make_shared<int>(0);
        auto [over, isOver] = announcement();
        std::array<int, 4> pipes{};
        ASSERT_EQ(::pipe(pipes.data()), 0);
        ASSERT_EQ(::pipe(pipes.data() + 2), 0);
        auto loop = std::make_unique<EventLoop>();
        EventLoop& used = *loop;
        const auto end = [&used, ended, late] {
            if (std::exchange(*ended, 1) == 0) {
                EXPECT_FALSE(used.hasEnded());
                used.end();
                EXPECT_TRUE(used.hasEnded());
            } else {
                ++*late;
            }
        };
        loop->post([&used, from, end, pipes, token = std::shared_ptr<void>(nullptr, [call = over](void*) { call(); })] {
            // What is kept goes last of all.
            used.watch(-1, 0, [token](short) {});
            if (from == "posted") {
                used.setSource({[] { return EventLoop::Source::Poll{}; }, end});
                used.post(end);
                used.after(0ms, end);
                end();
            } else if (from == "due") {
                used.setSource({[] { return EventLoop::Source::Poll{}; }, end});
                used.after(0ms, end);
                used.after(0ms, end);
            } else if (from == "source") {
                used.setSource({[] { return EventLoop::Source::Poll{}; }, end});
                used.after(1ms, end);
            } else {
                for (const int descriptor : {pipes[1], pipes[3]}) { // may be written to
                    used.watch(descriptor, POLLOUT, [end](short) { end(); });
                }
            }
        });
        EXPECT_EQ(isOver.wait_for(30s), std::future_status::ready) << from;
        loop->end();
        EXPECT_EQ(*ended, 1) << from;
        EXPECT_EQ(*late, 0) << from;
        loop.reset();
        for (const int descriptor : pipes) {
            ::close(descriptor);
        }
    }
}

TEST(EventLoop, keepsWhatATaskUsesWhenThatEndsIt) {
    struct User {
        explicit User(std::function<void()> whenGone) : gone(std::move(whenGone)) {}
        ~User() {
            loop.end();
            gone();
        }
        User(const User&) = delete;
        User& operator=(const User&) = delete;

        std::function<void()> gone;
        EventLoop loop;
    };
    auto [gone, isGone] = announcement();
    auto user = std::make_shared<User>(gone);
    const std::weak_ptr<User> weak = user;
    const auto wasThere = std::make_shared<std::promise<bool>>();
    EventLoop& loop = user->loop;
    loop.post([weak, wasThere, user = std::move(user)]() mutable {
        auto last = std::exchange(user, nullptr);
        EventLoop& own = last->loop;
        own.end(std::exchange(last, nullptr));
        wasThere->set_value(!weak.expired() && own.hasEnded());
    });
    EXPECT_TRUE(wasThere->get_future().get());
    EXPECT_EQ(isGone.wait_for(30s), std::future_status::ready);
}

TEST(EventLoop, runsEveryTaskThatIsPostedWhileItFallsAsleep) {
    EventLoop loop;
    for (int round = 0; round < 2000; ++round) {
        constexpr int threads = 3;
        std::promise<void> done;
        int left = threads; // of the loop's thread
        std::vector<std::thread> posting;
        posting.reserve(threads);
        for (int i = 0; i < threads; ++i) {
            posting.emplace_back([&] {
                loop.post([&] {
                    if (--left == 0) {
                        done.set_value();
                    }
                });
            });
        }
        for (auto& thread : posting) {
            thread.join();
        }
        if (done.get_future().wait_for(30s) != std::future_status::ready) {
            loop.end(); // the task uses what is here
            FAIL() << "a task is not run";
        }
    }
}

} // namespace
} // namespace tarnel
