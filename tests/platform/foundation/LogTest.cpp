#include "support/LogCapture.hpp"

#include <algorithm>
#include <atomic>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <cstdlib>
#include <stdexcept>
#include <thread>

using namespace foundation::log;
namespace logging = boost::log;

namespace {

struct Log : testing::Test {
    void say(unsigned level, const std::string& text) {
        if (auto record = logger_.open(level)) {
            ++formed_;
            record.stream() << text;
        }
    }

    support::LogCapture capture_{0};
    basic_diagnostic_logger logger_{"flowbook::logging"};
    std::atomic<int> formed_ = 0;
};

TEST_F(Log, EmitsTheEnabledLevelsOnly) {
    say(8, "off by default");
    set_enabled_levels(8 | 512, diagnostic_output::host_sinks);
    for (const unsigned level : {4U, 8U, 512U}) {
        say(level, "text");
    }
    EXPECT_EQ(capture_.lines(), (std::vector<std::string>{"8 text", "512 text"}));
    EXPECT_EQ(formed_, 2) << "text was formed for a message that is disabled";
}

TEST_F(Log, StandardErrorIsShownDiagnosticsOnlyAndWhenAskedTo) {
    testing::internal::CaptureStderr();
    set_enabled_levels(8);
    set_enabled_levels(8);  // shows it once all the same
    say(8, "shown");
    set_enabled_levels(8, diagnostic_output::host_sinks);
    say(8, "not shown");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "flowbook::logging [8] shown\n");
}

[[noreturn]] bool fail() { throw std::runtime_error("no room for a message"); }

TEST_F(Log, FailingSinksAndFiltersLoseTheMessageOnly) {
    using Sink = logging::sinks::synchronous_sink<logging::sinks::text_ostream_backend>;
    const auto sink = boost::make_shared<Sink>();
    sink->set_formatter([](const logging::record_view&, logging::formatting_ostream&) { fail(); });
    logging::core::get()->add_sink(sink);
    set_enabled_levels(8, diagnostic_output::host_sinks);
    EXPECT_NO_THROW(say(8, "lost"));
    logging::core::get()->remove_sink(sink);
    logging::core::get()->set_filter([](const logging::attribute_value_set&) { return fail(); });
    EXPECT_NO_THROW(say(8, "lost before it is formed"));
    logging::core::get()->reset_filter();
    EXPECT_EQ(formed_, 1);
}

TEST_F(Log, ThreadsKeepTheirLevelsApart) {
    set_enabled_levels(4 | 8, diagnostic_output::host_sinks);
    const auto talk = [this](unsigned level) {
        for (int count = 0; count != 200; ++count) {
            say(level, "text");
        }
    };
    std::thread other(talk, 4);
    talk(8);
    other.join();
    EXPECT_EQ(std::count(capture_.lines().begin(), capture_.lines().end(), "4 text"), 200);
    EXPECT_EQ(std::count(capture_.lines().begin(), capture_.lines().end(), "8 text"), 200);
}

TEST(LogEnvironment, SetsTheMaskAtLoad) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";  // starts the program anew
    for (const auto& [text, mask] : {std::pair("12", 12), {"0", 0}, {"12x", 0}, {"", 0}}) {
        ::setenv("PX_DIAGNOSTIC_LEVELS", text, 1);
        EXPECT_EXIT(std::_Exit(static_cast<int>(detail::enabledLevels.load())), testing::ExitedWithCode(mask), "");
    }
    ::unsetenv("PX_DIAGNOSTIC_LEVELS");
}

}  // namespace
