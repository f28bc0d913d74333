#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/optional.hpp>
#include <string>
#include <string_view>

namespace opc::pxservices::detail {

/// Reads the W3C's profile of ISO 8601 in all its precisions, from "YYYY" to fractions of a second, which are cut
/// off, and what XML Schema has besides: no zone, which counts as UTC, a zone on a date, the hour 24. What is left out
/// counts as its first value. @returns UTC; nothing for any other text, and for times outside the years 1400 to 9999.
boost::optional<boost::posix_time::ptime> parseW3cDateTime(std::string_view text);

/// To the second, in UTC. @param time  an actual time, no special value.
std::string formatW3cDateTime(const boost::posix_time::ptime& time);

}  // namespace opc::pxservices::detail
