#pragma once

namespace opc::model {

class XercesParser;

/// Idle parsers, kept because making one costs half as much as reading a small document. A few for the
/// whole process; safe to use from several threads.
class XercesParserPool {
public:
    XercesParserPool() = delete;

    /// An idle parser, or a new one.
    static XercesParser* take();

    /// Whether the pool had room and owns the parser now.
    static bool put(XercesParser* parser) noexcept;

    /// Destroys the idle parsers, as must happen before the XML library is terminated.
    static void clear() noexcept;
};

}  // namespace opc::model
