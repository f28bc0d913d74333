#include "Failure.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "kit/document/Failure.hpp"

#include <new>

namespace flowbook::python {

namespace py = pybind11;
using foundation::storage::vfs::StorageError;

namespace {

Words judgeAsTold() {
    try {
        throw;
    } catch (const Refusal& failure) {
        return {failure.kind(), failure.what()};
    } catch (const FlowbookExceptionBase& failure) {
        return {kit::kindOf(failure), kit::inWords(failure.what())};
    } catch (const opc::Exception& failure) {
        return {kit::kindOf(failure), failure.what()};
    } catch (const StorageError& failure) {
        return {kit::kindOf(failure), failure.what()};
    } catch (const fl::i18n::ConversionError& failure) {
        return {"damaged", failure.what()};
    } catch (const std::exception& failure) {
        return {"input-output", failure.what()};
    }
}

[[noreturn]] void raiseObject(const py::object& exception) {
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
    throw py::error_already_set();
}

}  // namespace

py::str toText(const std::string& utf8) {
    return py::reinterpret_steal<py::str>(
        PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace"));
}

std::string withName(std::string words, const std::string& file) {
    static const std::string name = fl::i18n::to_string(kName);
    for (std::size_t at = words.find(name); at != std::string::npos; at = words.find(name, at + file.size())) {
        words.replace(at, name.size(), file);
    }
    return words;
}

Words judge(const std::string& file) {
    Words words = judgeAsTold();
    words.text = withName(std::move(words.text), file);
    return words;
}

void raise(const std::string& file) {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        const Words words = judge(file);
        raiseObject(
            py::module_::import("flowbook._errors").attr("error_of")(words.kind, toText(words.text), toText(file)));
    }
}

void raiseOf(const Source& source) {
    const py::object raised = source.object == nullptr ? py::none() : source.object->takeRaised();
    if (!raised.is_none()) {
        raiseObject(raised);
    }
}

}  // namespace flowbook::python
