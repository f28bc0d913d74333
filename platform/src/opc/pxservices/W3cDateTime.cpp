// Dates and times of properties. Reading is generous, as programs write every precision and zone that XML Schema
// permits; writing gives the one form that all programs read.
#include "opc/pxservices/W3cDateTime.hpp"

#include "fl/Ascii.hpp"

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdio>

namespace opc::pxservices::detail {
namespace {

using boost::posix_time::ptime;
using boost::posix_time::time_duration;

constexpr unsigned kFirstYear = 1400;  // of the calendar that the times are kept in
constexpr unsigned kLastYear = 9999;

/// Reads a text piece by piece; after the first piece that does not fit, nothing fits any more.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool succeeded() const { return !failed_ && rest_.empty(); }

    bool take(char c) {
        const bool taken = !rest_.empty() && rest_[0] == c;
        rest_.remove_prefix(taken ? 1 : 0);
        return taken;
    }

    void expect(char c) { failed_ = !take(c) || failed_; }

    unsigned number(std::size_t digits, unsigned least, unsigned most) {
        unsigned value = 0;
        for (; digits != 0 && atDigit(); --digits) {
            value = value * 10 + static_cast<unsigned>(rest_[0] - '0');
            rest_.remove_prefix(1);
        }
        failed_ = failed_ || digits != 0 || value < least || value > most;
        return failed_ ? least : value;
    }

    /// Skips the digits of a fraction. @returns whether one of them is not zero.
    bool skipDigits() {
        failed_ = failed_ || !atDigit();
        bool any = false;
        for (; atDigit(); rest_.remove_prefix(1)) {
            any = any || rest_[0] != '0';
        }
        return any;
    }

    bool isAtEnd() const { return rest_.empty(); }

    /// At a dash that begins a zone, such as -05:00, rather than a month or a day.
    bool isAtWestZone() const { return rest_.size() == 6 && rest_[3] == ':'; }

    void fail() { failed_ = true; }

private:
    bool atDigit() const { return !rest_.empty() && fl::ascii::isDigit(static_cast<unsigned char>(rest_[0])); }

    std::string_view rest_;
    bool failed_ = false;
};

/// Returns minutes east of UTC. A time without a zone is common. It is valid in XML Schema, to which the standard's
/// schema refers, and counts as UTC.
long parseOffset(Scanner& scanner) {
    if (scanner.isAtEnd() || scanner.take('Z')) {
        return 0;
    }
    const bool east = scanner.take('+');
    if (!east) {
        scanner.expect('-');
    }
    const unsigned hours = scanner.number(2, 0, 23);
    scanner.expect(':');
    const unsigned minutes = hours * 60 + scanner.number(2, 0, 59);
    return east ? long{minutes} : -long{minutes};
}

/// Returns the time of day. It may be 24:00:00, the end of the day, which XML Schema permits.
time_duration parseTime(Scanner& scanner) {
    const unsigned hours = scanner.number(2, 0, 24);
    scanner.expect(':');
    const unsigned minutes = scanner.number(2, 0, 59);
    unsigned seconds = 0;
    bool beyond = minutes != 0;
    if (scanner.take(':')) {
        seconds = scanner.number(2, 0, 59);
        const bool hasFraction = scanner.take('.') && scanner.skipDigits();
        beyond = beyond || seconds != 0 || hasFraction;
    }
    if (hours == 24 && beyond) {
        scanner.fail();
    }
    return {static_cast<long>(hours), static_cast<long>(minutes), static_cast<long>(seconds)};
}

unsigned lastDayOf(unsigned year, unsigned month) {
    return boost::gregorian::gregorian_calendar::end_of_month_day(static_cast<unsigned short>(year),
                                                                  static_cast<unsigned short>(month));
}

ptime at(unsigned year, unsigned month, unsigned day, const time_duration& time) {
    return {boost::gregorian::date(static_cast<unsigned short>(year), static_cast<unsigned short>(month),
                                   static_cast<unsigned short>(day)),
            time};
}

bool isInCalendar(const ptime& time) {
    return time >= at(kFirstYear, 1, 1, time_duration()) && time <= at(kLastYear, 12, 31, time_duration(23, 59, 59));
}

}  // namespace

boost::optional<ptime> parseW3cDateTime(std::string_view text) {
    Scanner scanner(text);
    unsigned month = 1;
    unsigned day = 1;
    time_duration time;
    const unsigned year = scanner.number(4, kFirstYear, kLastYear);
    if (!scanner.isAtWestZone() && scanner.take('-')) {
        month = scanner.number(2, 1, 12);
        if (!scanner.isAtWestZone() && scanner.take('-')) {
            day = scanner.number(2, 1, lastDayOf(year, month));
            if (scanner.take('T')) {
                time = parseTime(scanner);
            }
        }
    }
    const long offset = parseOffset(scanner);
    if (!scanner.succeeded()) {
        return boost::none;
    }
    // A zone may carry the time over into a year outside the calendar.
    const ptime parsed = at(year, month, day, time_duration()) + time - boost::posix_time::minutes(offset);
    return boost::make_optional(isInCalendar(parsed), parsed);
}

std::string formatW3cDateTime(const ptime& time) {
    const auto date = time.date().year_month_day();
    const time_duration ofDay = time.time_of_day();
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", static_cast<int>(date.year),
                  static_cast<int>(date.month), static_cast<int>(date.day), static_cast<int>(ofDay.hours()),
                  static_cast<int>(ofDay.minutes()), static_cast<int>(ofDay.seconds()));
    return text;
}

}  // namespace opc::pxservices::detail
