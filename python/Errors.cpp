// Errors as Python exceptions: a document's error keeps its file, JSON path and message as
// attributes; an effect's message becomes a warning.
#include <pybind11/pybind11.h>

#include "host/HostTypes.h"
#include "python/Bindings.h"
#include "standalone/Document.h"
#include "standalone/OutputFormat.h"

namespace py = pybind11;

namespace tv::python {

namespace {

PyObject* documentError = nullptr;
PyObject* tavrinWarning = nullptr;

}  // namespace

void Warn(const std::vector<std::string>& lines) {
    for (const std::string& line : lines)
        if (PyErr_WarnEx(tavrinWarning, line.c_str(), 1) < 0) throw py::error_already_set();
}

void BindErrors(py::module_& m) {
    documentError = PyErr_NewExceptionWithDoc(
        "tavrin.DocumentError",
        "A composition document that does not load: .file, .json_path (e.g. "
        "\"$.comps[0].layers[1]\") and .message say where and what would be valid.",
        PyExc_ValueError, nullptr);
    tavrinWarning = PyErr_NewExceptionWithDoc(
        "tavrin.TavrinWarning", "What an effect or the loader said about a frame or a document.",
        PyExc_UserWarning, nullptr);
    m.add_object("DocumentError", py::handle(documentError));
    m.add_object("TavrinWarning", py::handle(tavrinWarning));
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const standalone::DocumentError& e) {
            py::object error = py::reinterpret_borrow<py::object>(documentError)(e.what());
            error.attr("file") = e.file();
            error.attr("json_path") = e.jsonPath();
            error.attr("message") = e.message();
            PyErr_SetObject(documentError, error.ptr());
        } catch (const standalone::OutputFormatError& e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        } catch (const HostErrorCode& e) {
            PyErr_SetString(PyExc_RuntimeError,
                            ("the host failed with code " + std::to_string(e.code)).c_str());
        }
    });
}

}  // namespace tv::python
