// Limits, waiting for any of several, aborters and their binding to the player's token.

#include "observe.h"

#include "worker/abort.h"
#include "worker/wait.h"

#include "sdk/abort_callback_impl.h"
#include "win/handle.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace Nv;

namespace {

// Refuses a number of times before it accepts.
class reluctant : public waitable {
public:
    explicit reluctant(int refusals)
        : refusals_(refusals)
    {
    }
    bool accept() override { return refusals_-- <= 0; }

private:
    int refusals_;
};

// A player's token whose two faces are set apart.
struct odd_token : abort_callback {
    bool is_aborting() const noexcept override { return aborting; }
    void* get_abort_event() const noexcept override { return abort_event; }
    bool aborting = false;
    void* abort_event = nullptr;
};

} // namespace

TEST_CASE("seconds become milliseconds, differently at the edges for each kind of limit")
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr uint32_t longest = INFINITE - 1;
    struct {
        double seconds;
        uint32_t stream, wait, plain;
    } const rows[] = {
        {0, INFINITE, 0, 0},
        {-0.0, INFINITE, 0, 0},
        {-1, INFINITE, INFINITE, static_cast<uint32_t>(-1000)},
        {-0.0004, INFINITE, INFINITE, 0},
        {nan, INFINITE, INFINITE, 0},
        {0.0004, 0, 0, 0},
        {0.0005, 1, 1, 1},
        {0.0014, 1, 1, 1},
        {1, 1000, 1000, 1000},
        {10.0, 10000, 10000, 10000},
        {4294967.294, longest, longest, longest},
        {4294967.295, longest, longest, longest}, // INFINITE itself would mean something else
        {5e6, longest, longest, longest},
        {1e300, longest, longest, longest},
        {infinity, longest, longest, longest},
        {-1e300, INFINITE, INFINITE, 0},
    };
    for (const auto& row : rows) {
        CAPTURE(row.seconds);
        CHECK(toMilliseconds(row.seconds, limitKind::stream) == row.stream);
        CHECK(toMilliseconds(row.seconds, limitKind::wait) == row.wait);
        CHECK(toMilliseconds(row.seconds, limitKind::plain) == row.plain);
    }
}

TEST_CASE("waitAny with any number of waitables, with and without an aborter")
{
    for (const size_t count : {size_t(0), size_t(1), size_t(15), size_t(16), size_t(17), size_t(63)}) {
        for (const bool with_aborter : {false, true}) {
            CAPTURE(count);
            CAPTURE(with_aborter);
            std::vector<std::unique_ptr<waitable>> owned;
            std::vector<waitableImpl*> waitables;
            for (size_t i = 0; i < count; ++i) {
                owned.push_back(std::make_unique<waitable>());
                waitables.push_back(owned.back().get());
            }
            aborter stop;
            std::optional<abortScope> scope;
            if (with_aborter)
                scope.emplace(stop);
            const auto wait = [&](double limit) { return waitAny(waitables.data(), count, limit); };

            CHECK(wait(0) == -1);
            const double waited = seconds_of([&] { CHECK(wait(0.03) == -1); });
            CHECK(waited >= 0.025);
            CHECK(waited < 1);
            for (const size_t index : {size_t(0), count / 2, count - 1}) {
                if (count == 0)
                    break;
                SetEvent(waitables[index]->event());
                for (const double limit : {-1.0, 0.0, 5.0})
                    CHECK(wait(limit) == static_cast<int>(index));
                ResetEvent(waitables[index]->event());
            }
            if (!with_aborter)
                continue;
            stop.signal();
            if (count > 0)
                SetEvent(waitables[0]->event()); // on a tie the aborter wins
            for (const double limit : {-1.0, 0.0, 5.0})
                CHECK_THROWS_WITH_AS(wait(limit), "user abort", user_abort);
        }
    }
}

TEST_CASE("waitAny: the edges")
{
    SUBCASE("of several signalled the first counts")
    {
        waitable first, second;
        waitableImpl* const both[] = {&first, &second};
        SetEvent(second.event());
        CHECK(waitAny(both, 2, 0) == 1);
        SetEvent(first.event());
        CHECK(waitAny(both, 2, 0) == 0);
    }
    SUBCASE("a refused event is asked again until the limit")
    {
        reluctant willing(3), unwilling(std::numeric_limits<int>::max());
        SetEvent(willing.event());
        SetEvent(unwilling.event());
        waitableImpl* const agreeable[] = {&willing};
        CHECK(waitAny(agreeable, 1, 5) == 0);
        waitableImpl* const stubborn[] = {&unwilling};
        CHECK(waitAny(stubborn, 1, 0) == -1);
        const double waited = seconds_of([&] { CHECK(waitAny(stubborn, 1, 0.05) == -1); });
        CHECK(waited >= 0.03);
        CHECK(waited < 1);
    }
    SUBCASE("more than the system can wait for, and a handle that is none")
    {
        std::vector<std::unique_ptr<waitable>> owned;
        std::vector<waitableImpl*> waitables;
        for (int i = 0; i < 65; ++i) {
            owned.push_back(std::make_unique<waitable>());
            waitables.push_back(owned.back().get());
        }
        SetEvent(owned[63]->event());
        CHECK(waitAny(waitables.data(), 64, 0) == 63);
        CHECK(waitAny(waitables.data(), 65, -1) == -1);
        waitable none(nullptr);
        waitableImpl* const broken[] = {&none};
        CHECK(waitAny(broken, 1, -1) == -1);
    }
}

TEST_CASE("aborters: scopes nest, and none is installed when it is signalled already")
{
    REQUIRE(currentAborter == nullptr);
    aborter outer, inner, signalled;
    signalled.signal();
    {
        const abortScope first(outer);
        {
            const abortScope second(inner);
            CHECK(currentAborter == &inner);
            CHECK_THROWS_AS(abortScope third(signalled), user_abort);
            CHECK(currentAborter == &inner);
            {
                const abortSuspended closing;
                CHECK(currentAborter == nullptr);
            }
            CHECK(currentAborter == &inner);
        }
        CHECK(currentAborter == &outer);
        try {
            const abortScope second(inner);
            throw 1;
        } catch (int) {
        }
        CHECK(currentAborter == &outer);
    }
    CHECK(currentAborter == nullptr);
    signalled.reset();
    CHECK_FALSE(signalled.isSignalled());
}

TEST_CASE("the player's token bound to a thread")
{
    abort_callback_impl token;
    int runs = 0;
    const auto count_run = [&] { return ++runs; };
    SUBCASE("a binding of its own may outlive the token")
    {
        auto short_lived = std::make_unique<abort_callback_impl>();
        const hostAbortBinding binding(*short_lived);
        CHECK(currentAborter->event() != short_lived->get_abort_event());
        short_lived->abort();
        short_lived.reset();
        CHECK(currentAborter->isSignalled());
    }
    SUBCASE("the work sees the token's event")
    {
        CHECK(runWithHostAbort(token, [&] {
                  CHECK_FALSE(currentAborter->isSignalled());
                  SetEvent(token.get_abort_event());
                  CHECK(currentAborter->isSignalled());
                  return 7;
              }) == 7);
        CHECK(currentAborter == nullptr);
    }
    SUBCASE("an abort inside becomes the player's; other failures pass")
    {
        CHECK_THROWS_WITH_AS(runWithHostAbort(token,
                                              [&] {
                                                  token.abort();
                                                  waitForAbort();
                                              }),
                             "User abort", exception_aborted);
        token.reset();
        CHECK_THROWS_AS(runWithHostAbort(token, [] { throw invalid_input(); }), invalid_input);
        CHECK(currentAborter == nullptr);
    }
    SUBCASE("a token that aborts already: nothing runs")
    {
        token.abort();
        CHECK_THROWS_AS(runWithHostAbort(token, count_run), exception_aborted);
    }
    SUBCASE("only the event is signalled: the link's own exception, unconverted")
    {
        odd_token odd;
        odd.abort_event = token.get_abort_event();
        SetEvent(odd.abort_event);
        CHECK_THROWS_AS(runWithHostAbort(odd, count_run), user_abort);
    }
    SUBCASE("a token without an event")
    {
        odd_token odd;
        CHECK_THROWS_WITH_AS(runWithHostAbort(odd, count_run), "bug check", bug_check);
    }
    CHECK(runs == 0);
}
