#include "opc/xml/dom/XercesParserPool.hpp"

#include "opc/xml/dom/XercesParser.hpp"

#include <array>
#include <cstddef>
#include <mutex>

namespace opc::model {
namespace {

constexpr std::size_t kMaxIdle = 4;

// Plain pointers, so that nothing here is destroyed before the last guard clears it.
std::mutex idleMutex;
std::array<XercesParser*, kMaxIdle> idle;
std::size_t idleCount = 0;

XercesParser* takeIdle() noexcept {
    const std::lock_guard lock(idleMutex);
    return idleCount == 0 ? nullptr : idle[--idleCount];
}

}  // namespace

XercesParser* XercesParserPool::take() {
    XercesParser* const parser = takeIdle();
    return parser != nullptr ? parser : new XercesParser();
}

bool XercesParserPool::put(XercesParser* parser) noexcept {
    const std::lock_guard lock(idleMutex);
    if (idleCount == kMaxIdle) {
        return false;
    }
    idle[idleCount++] = parser;
    return true;
}

void XercesParserPool::clear() noexcept {
    while (XercesParser* const parser = takeIdle()) {
        delete parser;
    }
}

}  // namespace opc::model
