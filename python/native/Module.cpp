#include "Book.hpp"
#include "Functions.hpp"
#include "Rows.hpp"
#include "flowbook/FlowbookVersion.hpp"

#include <cstring>
#include <map>
#include <pybind11/stl.h>

namespace flowbook::python {

namespace py = pybind11;

namespace {

py::bytes toPython(const fl::Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

fl::Bytes toBytes(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }

/// Text of UTF-16 in native byte order. A U+FEFF at its start is part of the text, not a byte order mark.
std::u16string fromUtf16(const std::string& bytes) {
    std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    return text;
}

/// As above, the other way; a lone surrogate becomes U+FFFD.
py::str utf16ToText(const std::u16string& text) {
    int order = PY_LITTLE_ENDIAN ? -1 : 1;
    return py::reinterpret_steal<py::str>(PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(text.data()),
                                                                static_cast<Py_ssize_t>(text.size() * sizeof(char16_t)),
                                                                "replace", &order));
}

// A path comes twice: in UTF-16 for the library, and in the bytes that the system knows, as not every name is text.
LocalPath toPath(const py::tuple& path) {
    return {fromUtf16(path[0].cast<std::string>()), path[1].cast<std::string>()};
}

/// Calls of Python make the objects, and `__new__` none: those would have nothing of C++ in them.
void refuseNew(PyHeapTypeObject* type) {
    type->ht_type.tp_flags |= Py_TPFLAGS_DISALLOW_INSTANTIATION;
    type->ht_type.tp_alloc = &PyType_GenericAlloc;  // by this name, so that it is called through Stay.cpp
}

/// Shows the collector of cycles the file object that a flowbook holds, which may lead back to the flowbook.
int visit(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(Py_TYPE(self));
    const auto holder = reinterpret_cast<py::detail::instance*>(self)->get_value_and_holder();
    const Book* book = holder.holder_constructed() ? holder.value_ptr<Book>() : nullptr;
    // While an object is constructed, the collector may run and find it without its book.
    if (book != nullptr && book->fileObject() != nullptr) {
        Py_VISIT(book->fileObject());
    }
    return 0;
}

void setUpBook(PyHeapTypeObject* type) {
    refuseNew(type);
    // There is no tp_clear: the collector breaks a cycle at an object of Python that belongs to it.
    type->ht_type.tp_flags |= Py_TPFLAGS_HAVE_GC;
    type->ht_type.tp_traverse = &visit;
}

/// A class that Python cannot derive from.
template <class Type, class... Holder>
py::class_<Type, Holder...> addClass(py::module_& module, const char* name,
                                     void (*setUp)(PyHeapTypeObject*) = &refuseNew) {
    return py::class_<Type, Holder...>(module, name, py::is_final(), py::custom_type_setup(setUp));
}

/// Gives a text to Python that may come from a damaged file and hold malformed sequences.
template <class Owner>
auto text(std::string Owner::*member) {
    return [member](const Owner& owner) { return toText(owner.*member); };
}

void addValues(py::module_& module) {
    addClass<PartInfo>(module, "PartInfo")
        .def_property_readonly("name", text(&PartInfo::name))
        .def_property_readonly("content_type", text(&PartInfo::contentType))
        .def_readonly("size", &PartInfo::size)
        .def_readonly("is_picture", &PartInfo::isPicture);
    addClass<RelationshipInfo>(module, "RelationshipInfo")
        .def_property_readonly("source", text(&RelationshipInfo::source))
        .def_property_readonly("id", text(&RelationshipInfo::id))
        .def_property_readonly("type", text(&RelationshipInfo::type))
        .def_property_readonly("target", text(&RelationshipInfo::target))
        .def_readonly("is_internal", &RelationshipInfo::isInternal);
    addClass<PropertyInfo>(module, "Property")
        .def_property_readonly("label", text(&PropertyInfo::label))
        .def_readonly("value", &PropertyInfo::value)
        .def_property_readonly("fault", text(&PropertyInfo::fault))
        .def_readonly("is_of_limit", &PropertyInfo::isOfLimit)
        .def_property_readonly("part", text(&PropertyInfo::part));
    addClass<kit::Finding>(module, "Finding")
        .def_property_readonly("severity", [](const kit::Finding& finding) { return nameOf(finding.severity); })
        .def_property_readonly("part", text(&kit::Finding::part))
        .def_property_readonly("place", text(&kit::Finding::place))
        .def_property_readonly("words", text(&kit::Finding::words))
        .def_property_readonly("id", text(&kit::Finding::id));
}

py::list toPython(const std::vector<kit::PropertyElement>& elements) {
    py::list all;
    for (const kit::PropertyElement& each : elements) {
        all.append(py::make_tuple(toText(each.name), toText(each.value)));
    }
    return all;
}

py::list toPython(const std::vector<kit::Run>& runs) {
    py::list all;
    for (const kit::Run& each : runs) {
        all.append(py::make_tuple(toText(each.text), each.bold, each.italic, each.underline, each.strike,
                                  toText(each.link), toText(each.picture)));
    }
    return all;
}

py::tuple toPython(const kit::RichText& text) {
    py::list all;
    for (const kit::Paragraph& each : text.paragraphs) {
        all.append(py::make_tuple(toText(each.style), each.heading, toText(each.text()),
                                  each.code ? py::object(toText(*each.code)) : py::none(), each.isBlock,
                                  toPython(each.runs)));
    }
    return py::make_tuple(all, toText(text.fault));
}

py::tuple toPython(const kit::Made& made) { return py::make_tuple(made.part, made.relationship); }

void addReading(py::class_<Book, std::shared_ptr<Book>>& book) {
    book.def("form", &Book::form)
        .def("code", [](Book& self) { return utf16ToText(self.code()); })
        .def("rich_code", [](Book& self) { return toText(self.richCode()); })
        .def("encrypted_code",
             [](Book& self) {
                 const auto code = self.encryptedCode();
                 return code ? std::make_optional(toPython(*code)) : std::nullopt;
             })
        .def("rich_text", [](Book& self) { return toPython(self.richText()); })
        .def("properties", &Book::properties)
        .def("carried_properties", [](Book& self) { return toPython(self.carriedProperties()); })
        .def("parts", &Book::parts)
        .def("part", &Book::part)
        .def("relationships", &Book::relationships)
        .def("content", [](Book& self, const std::string& part) { return toPython(self.content(part)); })
        .def("picture", [](Book& self, const std::string& part) { return toPython(self.picture(part)); })
        .def("digest", &Book::digest)
        .def("text", [](Book& self) { return toText(self.text()); })
        .def("html", [](Book& self) { return toText(self.html()); })
        .def("check", &Book::check)
        .def("canonical", [](Book& self) { return toPython(self.canonical()); })
        .def("to_bytes", [](Book& self) { return toPython(self.bytes()); });
}

/// Of tuples: one of "replace", "remove" and "insert"; index; text; style.
std::vector<kit::ParagraphEdit> toEdits(const py::list& tuples) {
    std::vector<kit::ParagraphEdit> edits;
    for (const py::handle each : tuples) {
        const auto tuple = each.cast<py::tuple>();
        const auto kind = tuple[0].cast<std::string>();
        edits.push_back({kind == "replace"  ? kit::ParagraphEdit::Kind::Replace
                         : kind == "remove" ? kit::ParagraphEdit::Kind::Remove
                                            : kit::ParagraphEdit::Kind::Insert,
                         tuple[1].cast<std::size_t>(), tuple[2].cast<std::string>(), tuple[3].cast<std::string>()});
    }
    return edits;
}

template <class Change>
py::tuple make(Book& self, Change change) {
    return toPython(self.change(std::move(change)));
}

void addCodeChanges(py::class_<Book, std::shared_ptr<Book>>& book) {
    book.def("is_changed", &Book::isChanged)
        .def("file_version", &Book::fileVersion)
        .def("revision", &Book::revision)
        .def("set_code",
             [](Book& self, const py::bytes& text, bool flatten) {
                 return make(self, kit::SetPlainCode{fromUtf16(text), flatten});
             })
        .def("edit_paragraphs", [](Book& self, const py::list& edits,
                                   std::uint64_t number) { self.editParagraphs({toEdits(edits)}, number); })
        .def("refuse_own_calls", &Book::refuseOwnCalls)
        .def("await_turn", &Book::awaitTurn)
        .def("set_rich_code",
             [](Book& self, const py::bytes& document) { return make(self, kit::SetRichCode{toBytes(document)}); })
        .def("set_encrypted_code",
             [](Book& self, const py::bytes& content) { return make(self, kit::SetEncryptedCode{toBytes(content)}); })
        .def("set_property", [](Book& self, std::string label, std::optional<py::bytes> value) {
            const auto text = value ? std::make_optional(std::string(*value)) : std::nullopt;
            return make(self, kit::SetProperty{std::move(label), text});
        });
}

void addPartChanges(py::class_<Book, std::shared_ptr<Book>>& book) {
    using Text = std::string;
    book.def("add_picture",
             [](Book& self, Text mediaType, const py::bytes& content) {
                 return make(self, kit::AddPicture{std::move(mediaType), toBytes(content)});
             })
        .def("put_part",
             [](Book& self, Text name, Text type, const py::bytes& content, bool isNew, bool isPicture) {
                 return make(self, kit::PutPart{std::move(name), std::move(type), toBytes(content), isNew, isPicture});
             })
        .def("remove_part", [](Book& self, Text name) { return make(self, kit::RemovePart{std::move(name)}); })
        .def("rename_part",
             [](Book& self, Text name, Text to) {
                 return make(self, kit::RenamePart{std::move(name), std::move(to)});
             })
        .def("add_relationship",
             [](Book& self, Text source, Text id, Text type, Text target, bool isInternal) {
                 return make(self, kit::AddRelationship{std::move(source), std::move(id), std::move(type),
                                                        std::move(target), isInternal});
             })
        .def("remove_relationship", [](Book& self, Text source, Text id) {
            return make(self, kit::RemoveRelationship{std::move(source), std::move(id)});
        });
}

void addBook(py::module_& module) {
    // Held by a shared pointer, since the work of a call that was interrupted goes on with it.
    auto book = addClass<Book, std::shared_ptr<Book>>(module, "Book", &setUpBook);
    book.def_static("of_path",
                    [](const py::tuple& path, const std::string& name) { return Book::ofPath(toPath(path), name); })
        .def_static("of_bytes", &Book::ofBytes)
        .def_static("of_object", &Book::ofObject)
        .def("save_back", &Book::saveBack)
        .def("save_at", [](Book& self, const py::tuple& path,
                           const std::optional<std::string>& name) { self.saveAt(toPath(path), name); })
        .def("move_to", &Book::moveTo)
        .def("move_to_object", &Book::moveToObject)
        .def("hold", &Book::hold)
        .def("detach",
             [](Book& self) {
                 const Book::Detached detached = self.detach();
                 return py::make_tuple(toPython(detached.bytes), detached.revision);
             })
        .def("strip", &Book::strip)
        .def("close", &Book::close);
    addReading(book);
    addCodeChanges(book);
    addPartChanges(book);
}

struct ToPython {
    py::object operator()(std::monostate) const { return py::none(); }
    py::object operator()(std::int64_t number) const { return py::int_(number); }
    py::object operator()(const std::string& text) const { return toText(text); }
    py::object operator()(const std::u16string& text) const { return utf16ToText(text); }
};

py::list columnOf(const std::vector<Row>& rows, std::size_t at) {
    // Filled by place and not appended to, as the length is known and there may be millions of rows.
    py::list column(rows.size());
    for (std::size_t i = 0; i != rows.size(); ++i) {
        column[i] = std::visit(ToPython(), rows[i].cells[at]);
    }
    return column;
}

py::list failuresOf(const std::vector<Row>& rows) {
    py::list failures;
    for (const Row& row : rows) {
        failures.append(row.failure ? py::object(py::make_tuple(row.failure->kind, toText(row.failure->text),
                                                                toText(row.failure->part)))
                                    : py::none());
    }
    return failures;
}

py::tuple tableOf(Rows& self, unsigned threads) {
    // All values are made after reading: they are objects of Python, for which the lock is needed that reading lets go.
    const std::vector<Row> rows = self.read(threads);
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
             [](Rows& self, const py::tuple& path, std::string name) { self.addPath(toPath(path), std::move(name)); })
        .def("add_bytes", &Rows::addBytes)
        .def("add_object", &Rows::addObject)
        .def("add_missing", &Rows::addMissing)
        .def("read", &tableOf, py::arg("threads") = 1);
}

/// @param favour   "ours", "theirs" or empty. @param outputs  as the command's option, or empty.
kit::MergeOptions mergeOptions(const std::string& favour, const std::string& outputs, std::string oursLabel,
                               std::string theirsLabel) {
    kit::MergeOptions options;
    options.favour = favour == "ours"     ? kit::Favour::Ours
                     : favour == "theirs" ? kit::Favour::Theirs
                                          : kit::Favour::None;
    // A word that is none of these is refused by the typed function in Python, which names the words.
    const std::map<std::string, kit::Outputs> known{{"ours", kit::Outputs::Ours},
                                                    {"theirs", kit::Outputs::Theirs},
                                                    {"drop", kit::Outputs::Drop},
                                                    {"conflict", kit::Outputs::Conflict}};
    if (const auto found = known.find(outputs); found != known.end()) {
        options.outputs = found->second;
    }
    options.oursLabel = std::move(oursLabel);
    options.theirsLabel = std::move(theirsLabel);
    return options;
}

py::object toPython(const std::optional<std::string>& text) { return text ? py::object(toText(*text)) : py::none(); }

py::list toPython(const std::vector<std::string>& texts) {
    py::list all;
    for (const std::string& each : texts) {
        all.append(toText(each));
    }
    return all;
}

py::tuple toPython(const kit::MergeResult& result) {
    py::list conflicts;
    for (const kit::MergeConflict& each : result.conflicts) {
        conflicts.append(py::make_tuple(nameOf(each.kind), toText(each.what), toText(each.words), toPython(each.base),
                                        toPython(each.ours), toPython(each.theirs)));
    }
    return py::make_tuple(toPython(result.flowbook), conflicts, toPython(result.notes));
}

void addFunctions(py::module_& module) {
    module.def("stripped", [](const std::string& flowbook, const std::string& name) {
        const auto result = stripped(flowbook, name);
        return result ? py::object(toPython(*result)) : py::none();
    });
    module.def("merge", [](const std::optional<std::string>& base, const std::string& ours, const std::string& theirs,
                           const std::string& favour, const std::string& outputs, std::string oursLabel,
                           std::string theirsLabel) {
        return toPython(
            merge(base, ours, theirs, mergeOptions(favour, outputs, std::move(oursLabel), std::move(theirsLabel))));
    });
    module.def("new_flowbook", [] { return toPython(newFlowbook()); });
    module.def("content_of",
               [](const py::tuple& path, const std::string& name) { return toPython(contentOf(toPath(path), name)); });
    module.def("diff", [](std::string aName, std::string a, std::string bName, std::string b, std::size_t context) {
        return toText(diff({std::move(aName), std::move(a)}, {std::move(bName), std::move(b)}, context));
    });
    module.def("text_of", [](const std::string& content) { return toText(textOf(content)); });
    module.def("damaged_html", [](const std::string& remains, const std::string& file, const std::string& reason) {
        return toPython(damagedHtml(remains, file, reason));
    });
    module.def("repair", [](const std::string& remains) {
        const kit::Salvaged salvaged = repair(remains);
        return py::make_tuple(salvaged.flowbook ? py::object(toPython(*salvaged.flowbook)) : py::none(),
                              toPython(salvaged.saved), toPython(wordsOf(salvaged.rebuilt)),
                              toPython(wordsOf(salvaged.lost)));
    });
}

}  // namespace

PYBIND11_MODULE(_native, module) {
    if (PyInterpreterState_Get() != PyInterpreterState_Main()) {
        throw py::import_error("flowbook works in the main interpreter only, not in subinterpreters");
    }
    addValues(module);
    addBook(module);
    addRows(module);
    addFunctions(module);
    module.def("heading_of", [](const std::string& style) { return kit::headingOf(style); });
    module.attr("library_version") = static_cast<const char*>(libpxflowbook_version);
}

}  // namespace flowbook::python
