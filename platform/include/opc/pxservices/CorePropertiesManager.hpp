#pragma once

#include "opc/model/Package.hpp"
#include "opc/pxservices/CoreProperties.hpp"

#include <memory>

namespace opc::pxservices {

/// Reads and writes the core properties of an open package, which must outlive it. Their part is found by its
/// relationship (ECMA-376-2, M4.1), of the standard's type or of the one of the same name under
/// http://schemas.openxmlformats.org/officedocument/2006, which an office suite writes. A relationship that leads
/// nowhere counts as no properties.
///
/// Used by one thread at a time, like its package.
class PXPLATFORM_EXPORT CorePropertiesManager {
public:
    enum class DeterministicMode {
        Off = 0  ///< times are written as they are set
    };

    CorePropertiesManager(model::Package& package, DeterministicMode mode);

    /// A package without the parts has no properties. A part that is damaged, no XML that a package may hold (M1.17,
    /// M1.18), no properties at all, or larger than the limits permit fails the getters of what it holds, not this
    /// call.
    /// @throws opc::Exception when the package is not open, or its storage fails.
    CoreProperties getCoreProperties() const;

    /// Stores the properties that were set since getCoreProperties(): their elements are replaced, all others stay byte
    /// for byte (a part in UTF-16 becomes UTF-8). Parts and relationships are made where they are missing, also where a
    /// relationship leads nowhere. Properties that did not come from getCoreProperties() replace all that is there.
    ///
    /// A part that cannot be read stays as it is when nothing but the last modified time, or the TARMIC release, was
    /// set in it, as every save does; so does one that these would make larger than the limit.
    /// @throws opc::Exception, with nothing changed, when another property was set in such a part, a value cannot be
    ///         held by XML (kind Misuse), or a part would be larger than opc::Limits permit, as it could not be read
    ///         again (kind LimitExceeded); also when the package is not open for writing.
    void setCoreProperties(const CoreProperties& properties);

private:
    class Memory;

    model::Package* package_;
    std::shared_ptr<Memory> memory_;  ///< what was read last, as long as it holds
};

}  // namespace opc::pxservices
