#include "opc/xml/dom/XercesDom.hpp"
#include "opc/xml/dom/XercesErrors.hpp"

#include <new>
#include <string>
#include <xercesc/util/PanicHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace opc::model {
namespace {

/// The library's own handler ends the process.
class ThrowingPanicHandler final : public xercesc::PanicHandler {
public:
    void panic(const PanicReasons reason) override {
        // What it cannot make at its start are tables in memory.
        if (reason == Panic_AllStaticInitErr) {
            throw std::bad_alloc();
        }
        throw Exception(ErrorKind::InputOutput,
                        std::string("the XML library cannot go on: ") + getPanicReasonString(reason));
    }
};

/// Never terminated: that and initialising anew cost more than reading a small file, and documents may live in static
/// objects. What a failed attempt leaves is fit neither for use nor for termination, and the XML library takes the next
/// attempt for done, so there is no other.
bool initialise() {
    static bool hasFailed = false;
    if (hasFailed) {
        throw std::bad_alloc();
    }
    // Needs no destruction.
    static ThrowingPanicHandler& panicHandler = *new ThrowingPanicHandler();
    hasFailed = true;
    translatingXercesErrors("cannot initialise the XML library", [] {
        xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, &panicHandler);
    });
    hasFailed = false;
    return true;
}

}  // namespace

const Dom* pxplatform_dom() {
    [[maybe_unused]] static const bool isInitialised = initialise();
    static const XercesDom only;
    return &only;
}

/// Where the module's objects are linked instead of loaded.
const Dom& dom() { return *pxplatform_dom(); }

}  // namespace opc::model
