#include "Lock.hpp"

#include <tuple>
#include <type_traits>

// Calls of the functions of Python named here, by this module and by what it includes of pybind11, are led here by the
// linker; CMakeLists.txt reads the names. Each of them may run Python's code, if only that of a finalizer which the
// collector of cycles calls or of an exception, and so may let the interpreter lock go and take it again; see orStay.

namespace {

template <class Function>
struct Signature;

template <class Returned, class... Given>
struct Signature<Returned(Given...)> {
    using Result = Returned;
    template <std::size_t at>
    using Argument = std::tuple_element_t<at, std::tuple<Given...>>;
};

}  // namespace

#define RESULT(name) Signature<decltype(name)>::Result
#define ARGUMENT(name, at) Signature<decltype(name)>::Argument<at>
#define STAY(name, parameters, arguments)                                                                              \
    extern "C" decltype(name) __real_##name;                                                                           \
    extern "C" RESULT(name) __wrap_##name parameters {                                                                 \
        return flowbook::python::orStay([&] { return __real_##name arguments; });                                      \
    }
#define STAY_0(name) STAY(name, (), ())
#define STAY_1(name) STAY(name, (ARGUMENT(name, 0) a), (a))
#define STAY_2(name) STAY(name, (ARGUMENT(name, 0) a, ARGUMENT(name, 1) b), (a, b))
#define STAY_3(name) STAY(name, (ARGUMENT(name, 0) a, ARGUMENT(name, 1) b, ARGUMENT(name, 2) c), (a, b, c))
#define STAY_4(name)                                                                                                   \
    STAY(name, (ARGUMENT(name, 0) a, ARGUMENT(name, 1) b, ARGUMENT(name, 2) c, ARGUMENT(name, 3) d), (a, b, c, d))

// clang-format off
STAY_0(PyDict_New) STAY_0(PyErr_CheckSignals) STAY_0(PyErr_Clear) STAY_0(PyGILState_Ensure)
STAY_0(PyThreadState_DeleteCurrent)
STAY_1(PyBuffer_Release) STAY_1(PyBytes_AsString) STAY_1(PyCapsule_GetName) STAY_1(PyDict_Copy)
STAY_1(PyErr_WriteUnraisable) STAY_1(PyEval_AcquireThread) STAY_1(PyEval_RestoreThread) STAY_1(PyImport_ImportModule)
STAY_1(PyInstanceMethod_New) STAY_1(PyList_New) STAY_1(PyLong_AsUnsignedLong) STAY_1(PyLong_AsUnsignedLongLong)
STAY_1(PyLong_FromLong) STAY_1(PyLong_FromSize_t) STAY_1(PyLong_FromSsize_t) STAY_1(PyNumber_Index)
STAY_1(PyNumber_Long) STAY_1(PyObject_ClearWeakRefs) STAY_1(PyObject_Repr) STAY_1(PyObject_Str)
STAY_1(PySequence_Size) STAY_1(PySequence_Tuple) STAY_1(PyStaticMethod_New) STAY_1(PyThreadState_Clear)
STAY_1(PyThreadState_New) STAY_1(PyTuple_New) STAY_1(PyType_Ready) STAY_1(PyUnicode_AsUTF8)
STAY_1(PyUnicode_AsUTF8String) STAY_1(PyUnicode_FromString) STAY_1(_Py_Dealloc)
STAY_2(PyBytes_FromStringAndSize) STAY_2(PyCapsule_GetPointer) STAY_2(PyCapsule_SetContext) STAY_2(PyCapsule_SetName)
STAY_2(PyCapsule_SetPointer) STAY_2(PyDict_DelItemString) STAY_2(PyDict_GetItemWithError)
STAY_2(PyErr_GivenExceptionMatches) STAY_2(PyErr_SetObject) STAY_2(PyErr_SetString) STAY_2(PyException_SetCause)
STAY_2(PyException_SetContext) STAY_2(PyException_SetTraceback) STAY_2(PyList_Append) STAY_2(PyList_GetItem)
STAY_2(PyModule_Create2) STAY_2(PyObject_CallObject) STAY_2(PyObject_GenericGetDict) STAY_2(PyObject_GetAttrString)
STAY_2(PyObject_GetItem) STAY_2(PyObject_HasAttrString) STAY_2(PyObject_IsInstance) STAY_2(PySequence_GetItem)
STAY_2(PyTuple_GetItem)
STAY_2(PyType_GenericAlloc) STAY_2(PyUnicode_AsUTF8AndSize) STAY_2(PyUnicode_FromStringAndSize)
STAY_2(PyWeakref_NewRef) STAY_2(_PyType_Lookup)
STAY_3(PyBytes_AsStringAndSize) STAY_3(PyCapsule_New) STAY_3(PyErr_NormalizeException) STAY_3(PyErr_Restore)
STAY_3(PyErr_WarnEx)
STAY_3(PyList_SetItem) STAY_3(PyModule_AddObject) STAY_3(PyObject_GenericSetDict) STAY_3(PyObject_SetAttr)
STAY_3(PyObject_SetAttrString) STAY_3(PyObject_SetItem) STAY_3(PyTuple_SetItem) STAY_3(PyUnicode_AsEncodedString)
STAY_3(PyUnicode_DecodeUTF8)
STAY_4(PyCMethod_New) STAY_4(PyUnicode_DecodeUTF16)
    // clang-format on
