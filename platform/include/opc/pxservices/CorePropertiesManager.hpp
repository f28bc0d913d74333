#pragma once

#include "opc/model/Package.hpp"
#include "opc/pxservices/CoreProperties.hpp"

namespace opc::pxservices {

/// Reads and writes the core properties of an open package, which must outlive it. Nothing is cached.
class PXPLATFORM_EXPORT CorePropertiesManager {
public:
    enum class DeterministicMode {
        Off = 0,        ///< times are written as they are set
        FixedTimes = 1  ///< times are written as 1980-01-01T00:00:00Z and the release as empty
    };

    CorePropertiesManager(model::Package& package, DeterministicMode mode);

    /// A package without the parts has no properties. @throws opc::Exception when a part is malformed or
    ///         breaks the rules M4.1 to M4.5, naming the part and the line.
    CoreProperties getCoreProperties() const;

    /// Writes both parts, creating them and their relationships where they are missing. Elements of an
    /// existing file that this class has no name for are kept when they are in `properties`, that is
    /// when it came from getCoreProperties(). @throws opc::Exception.
    void setCoreProperties(const CoreProperties& properties);

private:
    model::Package* package_;
    DeterministicMode mode_;
};

}  // namespace opc::pxservices
