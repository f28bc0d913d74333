#include "Document.hpp"
#include "Rows.hpp"
#include "flowbook/FlowbookVersion.hpp"

#include <cstring>
#include <pybind11/stl.h>

namespace flowbook::python {

namespace py = pybind11;

namespace {

py::bytes toPython(const fl::Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// Without a flowbook that could be meant by what fails.
template <class Work>
auto runAlone(Work work) {
    Turns turns;
    return inTurn(turns, {}, "", std::move(work));
}

/// A path as the storage takes it: UTF-16, native byte order, where a byte that is no UTF-8 is U+DC80 to U+DCFF.
std::u16string toPath(const py::bytes& utf16) {
    const std::string bytes = utf16;
    std::u16string path(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(path.data(), bytes.data(), path.size() * sizeof(char16_t));
    return path;
}

template <std::optional<std::string> Change::*kind>
void setCode(Change& change, const py::bytes& bytes) {
    change.code.reset();
    change.rich.reset();
    change.encrypted.reset();
    change.*kind = bytes;
}

template <std::optional<std::string> Change::*property>
void setProperty(Change& change, const py::bytes& utf8) {
    change.*property = utf8;
}

void addPicture(Change& change, std::string mediaType, const std::string& content) {
    change.pictures.emplace_back(std::move(mediaType), fl::Bytes(content.begin(), content.end()));
}

void checkChange(const Change& change) {
    runAlone([copy = change] {
        copy.check();
        return true;
    });
}

/// Calls of Python make the objects, and `__new__` none: those would have nothing of C++ in them.
void refuseNew(PyHeapTypeObject* type) { type->ht_type.tp_flags |= Py_TPFLAGS_DISALLOW_INSTANTIATION; }

/// Shows the collector of cycles the file object that a document holds, which may lead back to the document.
int visit(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(Py_TYPE(self));
    const auto* document = reinterpret_cast<py::detail::instance*>(self)->get_value_and_holder().value_ptr<Document>();
    const PythonFile* file = document == nullptr ? nullptr : document->fileObject();
    if (file != nullptr) {
        Py_VISIT(file->object().ptr());
    }
    return 0;
}

void setUpDocument(PyHeapTypeObject* type) {
    refuseNew(type);
    type->ht_type.tp_flags |= Py_TPFLAGS_HAVE_GC;
    type->ht_type.tp_traverse = &visit;
}

/// A class that Python cannot derive from.
template <class Type>
py::class_<Type> addClass(py::module_& module, const char* name, void (*setUp)(PyHeapTypeObject*) = &refuseNew) {
    return py::class_<Type>(module, name, py::is_final(), py::custom_type_setup(setUp));
}

void addChange(py::module_& module) {
    module.def("no_change", [] { return Change(); });
    addClass<Change>(module, "Change")
        .def("copy", [](const Change& self) { return self; })
        .def("set_code", &setCode<&Change::code>)
        .def("set_rich_code", &setCode<&Change::rich>)
        .def("set_encrypted_code", &setCode<&Change::encrypted>)
        .def("set_title", &setProperty<&Change::title>)
        .def("set_description", &setProperty<&Change::description>)
        .def("set_version", &setProperty<&Change::version>)
        .def("add_picture", &addPicture)
        .def("is_empty", &Change::isEmpty)
        .def("check", &checkChange);
}

void addValues(py::module_& module) {
    addClass<PartInfo>(module, "PartInfo")
        .def_readonly("name", &PartInfo::name)
        .def_readonly("content_type", &PartInfo::contentType)
        .def_readonly("size", &PartInfo::size)
        .def_readonly("is_picture", &PartInfo::isPicture);
    addClass<RelationshipInfo>(module, "RelationshipInfo")
        .def_readonly("source", &RelationshipInfo::source)
        .def_readonly("id", &RelationshipInfo::id)
        .def_readonly("type", &RelationshipInfo::type)
        .def_readonly("target", &RelationshipInfo::target)
        .def_readonly("is_internal", &RelationshipInfo::isInternal);
    addClass<kit::Property>(module, "Property")
        .def_readonly("label", &kit::Property::label)
        .def_readonly("value", &kit::Property::value)
        .def_readonly("fault", &kit::Property::fault);
    addClass<kit::Finding>(module, "Finding")
        .def_property_readonly("severity", [](const kit::Finding& finding) { return nameOf(finding.severity); })
        .def_readonly("part", &kit::Finding::part)
        .def_readonly("place", &kit::Finding::place)
        .def_readonly("words", &kit::Finding::words)
        .def_readonly("id", &kit::Finding::id);
}

std::optional<py::bytes> encryptedCode(Document& document) {
    const std::optional<fl::Bytes> code = document.encryptedCode();
    return code ? std::make_optional(toPython(*code)) : std::nullopt;
}

void addDocument(py::module_& module) {
    // What another thread changes meanwhile must not be what is being saved, so changes are taken by value.
    addClass<Document>(module, "Document", &setUpDocument)
        .def_static("of_path",
                    [](const py::bytes& path, const std::string& name) { return Document::ofPath(toPath(path), name); })
        .def_static("of_bytes", &Document::ofBytes)
        .def_static("of_object", &Document::ofObject)
        .def("form", &Document::form)
        .def("code", &Document::code)
        .def("rich_code", &Document::richCode)
        .def("encrypted_code", &encryptedCode)
        .def("properties", &Document::properties)
        .def("parts", &Document::parts)
        .def("relationships", &Document::relationships)
        .def("content", [](Document& self, const std::string& part) { return toPython(self.content(part)); })
        .def("picture", [](Document& self, const std::string& part) { return toPython(self.picture(part)); })
        .def("digest", &Document::digest)
        .def("text", &Document::text)
        .def("html", &Document::html)
        .def("check", &Document::check)
        .def("changed", [](Document& self, const Change& change) { return toPython(self.changed(change)); })
        .def("save_back", [](Document& self, const Change& change) { self.saveBack(change); })
        .def("save_at",
             [](Document& self, const Change& change, const py::bytes& path) { self.saveAt(change, toPath(path)); });
}

struct ToPython {
    py::object operator()(std::monostate) const { return py::none(); }
    py::object operator()(std::int64_t number) const { return py::int_(number); }
    py::object operator()(const std::string& text) const { return toText(text); }
    py::object operator()(const std::u16string& text) const { return py::cast(text); }
};

py::list columnOf(const std::vector<Row>& rows, std::size_t at) {
    py::list column(rows.size());
    for (std::size_t i = 0; i != rows.size(); ++i) {
        column[i] = std::visit(ToPython(), rows[i].cells[at]);
    }
    return column;
}

py::list failuresOf(const std::vector<Row>& rows) {
    py::list failures;
    for (const Row& row : rows) {
        failures.append(row.failure ? py::object(py::make_tuple(row.failure->kind, toText(row.failure->text)))
                                    : py::none());
    }
    return failures;
}

py::tuple tableOf(Rows& self) {
    const std::vector<Row> rows = self.read();
    py::dict table;
    for (std::size_t at = 0; at != self.columns().size(); ++at) {
        table[py::str(self.columns()[at])] = columnOf(rows, at);
    }
    return py::make_tuple(table, failuresOf(rows));
}

void addRows(py::module_& module) {
    module.def("rows", [](const std::vector<std::string>& columns) { return Rows(columns); });
    addClass<Rows>(module, "Rows")
        .def("add_path",
             [](Rows& self, const py::bytes& path, std::string name) { self.addPath(toPath(path), std::move(name)); })
        .def("add_bytes", &Rows::addBytes)
        .def("add_object", &Rows::addObject)
        .def("add_missing", &Rows::addMissing)
        .def("read", &tableOf);
}

}  // namespace

PYBIND11_MODULE(_native, module) {
    addValues(module);
    addChange(module);
    addDocument(module);
    addRows(module);
    module.def("new_flowbook", [] { return toPython(runAlone(&newFlowbook)); });
    module.attr("library_version") = static_cast<const char*>(libpxflowbook_version);
}

}  // namespace flowbook::python
