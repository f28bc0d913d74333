#include "opc/model/XercesGuard.hpp"

#include "opc/xml/dom/XercesErrors.hpp"
#include "opc/xml/dom/XercesParserPool.hpp"

#include <cstddef>
#include <mutex>
#include <new>
#include <string>
#include <xercesc/util/PanicHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace opc::model {
namespace {

// Both need no destruction, so guards work in static destructors too.
std::mutex usersMutex;
std::size_t users = 0;

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

// What a failed attempt leaves is fit neither for use nor for termination, and the XML library takes the
// next attempt for done, so there is no other.
bool hasFailed = false;

void initialise() {
    if (hasFailed) {
        throw std::bad_alloc();
    }
    // Needs no destruction, like the rest.
    static ThrowingPanicHandler& panicHandler = *new ThrowingPanicHandler();
    hasFailed = true;
    translatingXercesErrors("cannot initialise the XML library", [] {
        xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, &panicHandler);
    });
    hasFailed = false;
}

void addUser() {
    const std::lock_guard lock(usersMutex);
    if (users == 0) {
        initialise();
    }
    ++users;
}

void removeUser() noexcept {
    const std::lock_guard lock(usersMutex);
    if (--users == 0) {
        XercesParserPool::clear();
        xercesc::XMLPlatformUtils::Terminate();
    }
}

/// The user that makes the first initialisation last until the library is unloaded.
struct LibraryUser {
    LibraryUser() { addUser(); }
    LibraryUser(const LibraryUser&) = delete;
    LibraryUser& operator=(const LibraryUser&) = delete;
    ~LibraryUser() { removeUser(); }
};

}  // namespace

XercesGuard::XercesGuard() {
    static const LibraryUser library;
    addUser();
}

XercesGuard::~XercesGuard() { removeUser(); }

}  // namespace opc::model
