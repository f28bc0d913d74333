#include "Failure.hpp"

#include "Source.hpp"
#include "fl/i18n/Conversion.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/Failure.hpp"

#include <new>

namespace flowbook::python {

namespace py = pybind11;

namespace {

Words judgeByClass() {
    try {
        throw;
    } catch (const Refusal& failure) {
        return {failure.kind(), failure.what(), failure.part()};
    } catch (const std::exception& failure) {
        return {nameOf(kindOf(failure)), kit::wordsOf(failure), std::string(partOf(failure))};
    }
}

/// An error made by the package's classes; null, with Python's error set, when that fails.
PyObject* newError(PyObject* kind, PyObject* text, PyObject* file, PyObject* part) {
    PyObject* module = PyImport_ImportModule("flowbook._errors");
    PyObject* error = module == nullptr ? nullptr : callMethod(module, "error_of", "OOOO", kind, text, file, part);
    Py_XDECREF(module);
    return error;
}

}  // namespace

py::str toText(const std::string& utf8) {
    return py::reinterpret_steal<py::str>(
        PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace"));
}

std::string withName(std::string words, const std::string& file) {
    static const std::string& name = *new std::string(fl::i18n::to_string(kName));
    for (std::size_t at = words.find(name); at != std::string::npos; at = words.find(name, at + file.size())) {
        words.replace(at, name.size(), file);
    }
    return words;
}

Words judge(const std::string& file) {
    Words words = judgeByClass();
    words.text = withName(std::move(words.text), file);
    return words;
}

void raise(const std::exception_ptr& failure, const std::string& file) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        const Words words = judge(file);
        const auto error = py::reinterpret_steal<py::object>(newError(
            py::str(words.kind).ptr(), toText(words.text).ptr(), toText(file).ptr(), toText(words.part).ptr()));
        if (error) {
            PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
        }
    }
    throw py::error_already_set();
}

}  // namespace flowbook::python
