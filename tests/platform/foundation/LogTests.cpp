#include "foundation/log/basic_diagnostic_logger.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace foundation::log;
namespace logging = boost::log;

namespace {

struct CollectingBackend : logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
    void consume(const logging::record_view& record) {
        if (broken) {
            throw std::runtime_error("no room for a message");
        }
        const auto message = record[logging::expressions::smessage];
        lines.push_back(*logging::extract<std::string>("Channel", record) + ' ' +
                        std::to_string(*logging::extract<unsigned>("Level", record)) + ' ' + message.get());
    }
    std::vector<std::string> lines;
    bool broken = false;
};

class Log : public testing::Test {
protected:
    using Sink = logging::sinks::synchronous_sink<CollectingBackend>;

    Log() { logging::core::get()->add_sink(sink_); }
    ~Log() override {
        set_enabled_levels(0);
        logging::core::get()->remove_sink(sink_);
    }

    void say(unsigned level, const std::string& text) {
        if (auto record = logger_.open(level)) {
            ++formed_;
            record.stream() << text;
        }
    }

    boost::shared_ptr<CollectingBackend> backend_ = boost::make_shared<CollectingBackend>();
    boost::shared_ptr<Sink> sink_ = boost::make_shared<Sink>(backend_);
    basic_diagnostic_logger logger_{"test::channel"};
    int formed_ = 0;
};

TEST_F(Log, EmitsTheEnabledLevelsOnly) {
    say(8, "off by default");
    set_enabled_levels(8 | 512, diagnostic_output::host_sinks);
    say(4, "masked");
    say(8, "first");
    say(512, "second");
    set_enabled_levels(0);
    say(8, "off again");
    EXPECT_EQ(backend_->lines, (std::vector<std::string>{"test::channel 8 first", "test::channel 512 second"}));
    EXPECT_EQ(formed_, 2) << "text was formed for a message that is disabled";
}

TEST_F(Log, StandardErrorIsShownDiagnosticsOnlyAndWhenAskedTo) {
    testing::internal::CaptureStderr();
    set_enabled_levels(8);
    set_enabled_levels(8);
    say(8, "shown");
    backend_->broken = true;
    set_enabled_levels(8, diagnostic_output::host_sinks);
    say(8, "not shown, and lost by a failing sink");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "test::channel [8] shown\n");
}

TEST_F(Log, FailingFilterLosesTheMessageOnly) {
    set_enabled_levels(8, diagnostic_output::host_sinks);
    logging::core::get()->set_filter([](const logging::attribute_value_set&) -> bool { throw std::runtime_error(""); });
    EXPECT_NO_THROW(say(8, "lost"));
    logging::core::get()->reset_filter();
    EXPECT_EQ(formed_, 0);
}

TEST_F(Log, ThreadsKeepTheirLevelsApart) {
    set_enabled_levels(4 | 8, diagnostic_output::host_sinks);
    const auto talk = [this](unsigned level) {
        for (int count = 0; count != 200; ++count) {
            logger_.open(level).stream() << level;
        }
    };
    std::thread other(talk, 4);
    talk(8);
    other.join();
    EXPECT_EQ(backend_->lines.size(), 400U);
    for (const std::string& line : backend_->lines) {
        EXPECT_TRUE(line == "test::channel 4 4" || line == "test::channel 8 8") << line;
    }
}

TEST(LogEnvironment, SetsTheMaskAtLoad) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";  // starts the program anew
    const std::vector<std::pair<const char*, int>> cases = {{"12", 12}, {"0", 0}, {"12x", 0}, {"", 0}};
    for (const auto& [text, mask] : cases) {
        ::setenv("PX_DIAGNOSTIC_LEVELS", text, 1);
        EXPECT_EXIT(std::_Exit(static_cast<int>(detail::enabledLevels.load())), testing::ExitedWithCode(mask), "")
            << text;
    }
    ::unsetenv("PX_DIAGNOSTIC_LEVELS");
}

}  // namespace
