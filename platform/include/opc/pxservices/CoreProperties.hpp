#pragma once

#include "fl/PlatformExport.hpp"
#include "foundation/release_info/ReleaseInfo.hpp"

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/optional.hpp>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace opc::pxservices {

/// A package's core properties (ECMA-376-2, 4th edition, clause 11), with the two that the maker adds
/// in an extension part: the content type's friendly name and the TARMIC release. A value. An absent
/// property differs from an empty one. Times are UTC, to the second.
///
/// Reading is forgiving: text may have a language, a date may lack its type and its zone (it is UTC then) and have
/// any precision. What is faulty all the same fails the getter of its own property only: an element that is there
/// twice, that holds other elements, or a date that is none of the years 1400 to 9999. Getters throw opc::Exception
/// of kind Damaged then, which names the file, the part, the line, the element and its value. When a part cannot be
/// read at all, the getters of all that it holds throw, with kind Damaged or LimitExceeded. A property that was set is
/// given back as it was set.
class PXPLATFORM_EXPORT CoreProperties {
public:
    using Text = boost::optional<std::u16string>;
    using Time = boost::optional<boost::posix_time::ptime>;

    CoreProperties();
    CoreProperties(const CoreProperties&);
    CoreProperties(CoreProperties&&) noexcept;
    CoreProperties& operator=(const CoreProperties&);
    CoreProperties& operator=(CoreProperties&&) noexcept;
    ~CoreProperties();

    /// Returns the present time, UTC, in whole seconds. Where the environment variable SOURCE_DATE_EPOCH holds a
    /// number, it returns the time so many seconds after 1970 began (reproducible-builds.org), so that the same work
    /// gives the same bytes.
    /// @throws opc::Exception (Misuse) when the variable holds anything else, or a time after the year 9999.
    static boost::posix_time::ptime getCurrentTime();
    static foundation::release_info::ReleaseInfo getCurrentTARMICReleaseInfo();

    Text getTitle() const;
    Text getDescription() const;
    Text getVersion() const;
    Text getCategory() const;
    Text getContentType() const;
    Text getContentTypeFriendlyName() const;
    Time getCreatedTime() const;
    Time getLastModifiedTime() const;
    /// Returns none when the package does not contain it.
    std::u16string getTARMICRelease() const;

    void setTitle(const std::u16string& value);
    void setDescription(const std::u16string& value);
    void setVersion(const std::u16string& value);
    void setCategory(const std::u16string& value);
    void setContentType(const std::u16string& value);
    void setContentTypeFriendlyName(const std::u16string& value);
    void setCreatedTime(const boost::posix_time::ptime& value);
    void setLastModifiedTime(const boost::posix_time::ptime& value);
    void setTARMICReleaseInfo(const foundation::release_info::ReleaseInfo& value);

private:
    friend class CorePropertiesManager;
    /// Everything the two parts hold, elements without accessors included, so that they survive. Copies share it.
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace opc::pxservices
