#pragma once

#include "Change.hpp"
#include "Failure.hpp"
#include "kit/check/Check.hpp"
#include "kit/document/Document.hpp"

#include <memory>
#include <string>
#include <vector>

namespace flowbook::python {

struct PartInfo {
    std::string name;
    std::string contentType;
    std::uint64_t size;
    bool isPicture;
};

struct RelationshipInfo {
    std::string source;  ///< a part name; "/" for the package
    std::string id;
    std::string type;
    std::string target;
    bool isInternal;
};

/// @throws Refusal when there is no code, or it is encrypted.
void needReadable(const kit::Document& document);

/// An opened flowbook as Python's classes need it. All calls take the interpreter lock to be held, release it during
/// work, and throw Python's exceptions. Used by one thread at a time, others wait.
class Document {
public:
    /// @param file  the user's name of it, for messages.
    static std::unique_ptr<Document> ofPath(const std::u16string& path, const std::string& file);
    static std::unique_ptr<Document> ofBytes(const std::string& bytes, const std::string& file);
    static std::unique_ptr<Document> ofObject(pybind11::object object, const std::string& file);

    Document(Source source, std::string file);

    /// What it is read from; null when that is no object of Python.
    const PythonFile* fileObject() const { return source_.object.get(); }

    std::string form();
    std::u16string code();
    std::string richCode();
    /// The stored bytes of encrypted code; none when it is not encrypted.
    std::optional<fl::Bytes> encryptedCode();
    std::vector<kit::Property> properties();
    std::vector<PartInfo> parts();
    std::vector<RelationshipInfo> relationships();
    fl::Bytes content(const std::string& name);
    fl::Bytes picture(const std::string& name);
    std::string digest();
    std::string text();
    std::string html();
    std::vector<kit::Finding> check();

    fl::Bytes changed(const Change& change);
    void saveBack(const Change& change);
    void saveAt(const Change& change, const std::u16string& path);

private:
    template <class Work>
    auto run(Work work) {
        return inTurn(turns_, source_, file_, std::move(work));
    }
    opc::model::Part part(const std::string& name) const;

    Source source_;
    std::string file_;
    Turns turns_;
    kit::Document document_;
};

}  // namespace flowbook::python
