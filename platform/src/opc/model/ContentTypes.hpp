#pragma once

#include "opc/model/ContentType.hpp"
#include "opc/model/PartName.hpp"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace opc::model::detail {

/// The content types stream of a package, "[Content_Types].xml" (ECMA-376-2, 4th edition, 10.1.2). Types that it
/// has handed out stay where they are as long as it lives.
class ContentTypes {
public:
    /// The name of its entry, without a leading slash.
    static constexpr std::string_view kEntryName = "[Content_Types].xml";

    ContentTypes() = default;
    ContentTypes(const ContentTypes&) = delete;
    ContentTypes& operator=(const ContentTypes&) = delete;

    /// Fills an empty object. @throws as parsePackageXml().
    void parse(const std::vector<unsigned char>& bytes, const std::string& where);

    /// The content type of a part: an Override goes before a Default (M2.9). Null when there is none.
    /// @param foldedName  as PartName::folded().
    const ContentType* find(const std::string& foldedName) const;

    /// Gives a part its type: nothing to do where the Default for its extension says the same text, else
    /// by an Override. @returns the type as it is kept.
    const ContentType* assign(const PartName& name, const ContentType& type);

    /// As above, but adds a Default when the extension has none.
    const ContentType* assignByDefault(const PartName& name, const ContentType& type);

    /// Whether parts with the extension of this one are commonly of different types.
    static bool hasMixedExtension(const PartName& name);

    void removeOverride(const std::string& foldedName);

    bool isChanged() const noexcept { return changed_; }
    std::vector<unsigned char> toXml() const;

    /// For the handler of parse(). @throws XmlFault for a duplicate (M2.5, M2.6) or what is no content type.
    void addDefault(std::string_view extension, std::string_view type);
    void addOverride(std::string_view name, std::string_view type);

private:
    struct Entry {
        bool isDefault;
        std::string subject;  ///< the extension or the part name, as written
        const ContentType* type;
        bool removed = false;
    };
    using Index = std::unordered_map<std::string, std::size_t>;

    const ContentType* intern(std::string_view text);
    /// Adds what the file does not have yet. @returns the type as it is kept.
    const ContentType* addNew(bool isDefault, std::string_view subject, const ContentType& type);
    bool add(bool isDefault, std::string_view subject, const ContentType* type);
    const ContentType* defaultFor(const std::string& foldedName) const;

    std::vector<Entry> entries_;
    Index defaults_;
    Index overrides_;
    std::unordered_map<std::string, ContentType> types_;
    bool changed_ = false;
};

}  // namespace opc::model::detail
