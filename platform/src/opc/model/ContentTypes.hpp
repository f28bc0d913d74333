#pragma once

#include "fl/Bytes.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/PartName.hpp"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// A content type as a package declares it, taken apart when that is first asked for: most never are.
class DeclaredType {
public:
    /// @throws opc::Exception for text that is no media type.
    explicit DeclaredType(std::string_view text);

    const std::string& text() const noexcept { return text_; }
    const ContentType& get() const;

private:
    std::string text_;
    mutable std::optional<ContentType> type_;
};

/// The content types stream of a package, "[Content_Types].xml" (ECMA-376-2, 4th edition, 10.1.2).
class ContentTypes {
public:
    using Pointer = std::shared_ptr<const DeclaredType>;

    /// The name of the stream in messages and in the index of names.
    static constexpr std::string_view kName = "/[Content_Types].xml";
    static constexpr std::string_view kFoldedName = "/[content_types].xml";

    /// Fills an empty object. @throws as parseFlatXml().
    void parse(const fl::Bytes& bytes, const std::function<std::string()>& where);

    /// The content type of a part: an Override goes before a Default (M2.9). Null when there is none.
    /// @param foldedName  as PartName::folded().
    Pointer find(std::string_view foldedName) const;

    /// Gives a part its type: nothing to do where the Default for its extension says the same text, else
    /// by an Override. @returns the type as it is kept. @throws std::bad_alloc, with nothing changed.
    Pointer assign(const PartName& name, const ContentType& type);

    /// As above, but adds a Default when the extension has none.
    Pointer assignByDefault(const PartName& name, const ContentType& type);

    /// Whether parts with the extension of this one are commonly of different types.
    static bool hasMixedExtension(const PartName& name);

    void removeOverride(std::string_view foldedName) noexcept;

    bool isChanged() const noexcept { return changed_; }
    fl::Bytes toXml() const;

    /// For the handler of parse(). @throws XmlFault for a duplicate (M2.5, M2.6) or what is no content type.
    void addDefault(std::string_view extension, std::string_view type);
    void addOverride(std::string_view name, std::string_view type);

private:
    struct Declaration {
        bool isDefault;
        std::string subject;  ///< the extension or the part name, as written
        Pointer type;         ///< null when the declaration does not count, or not any more
    };
    using Index = std::map<std::string, std::size_t, std::less<>>;

    const Pointer& intern(std::string_view text);
    /// Adds a declaration, in the place of an earlier one of the same subject. @returns the type as it is kept.
    Pointer declare(bool isDefault, std::string_view subject, const ContentType& type);
    void add(Index& index, Index::const_iterator place, std::string folded, Declaration declaration);
    Pointer defaultFor(std::string_view foldedName) const;

    std::vector<Declaration> declarations_;
    Index defaults_;
    Index overrides_;
    std::map<std::string_view, Pointer> types_;  ///< by their texts
    bool changed_ = false;
};

}  // namespace opc::model::detail
