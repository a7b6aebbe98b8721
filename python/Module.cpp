// The Python module `tavrin`: composition documents loaded, edited, rendered and exported
// through the embedded host, the same calls the command line makes.
#include <pybind11/pybind11.h>

#include "python/Bindings.h"

PYBIND11_MODULE(tavrin, m) {
    m.doc() =
        "Tavrin's embedded host in Python: load composition documents, list and set their "
        "values, render frames to NumPy arrays or files, read a layer's geometry, export SVG.";
    m.attr("__version__") = TAVRIN_VERSION;
    tv::python::BindErrors(m);
    tv::python::BindDocument(m);
    tv::python::BindRender(m);
    tv::python::BindGeometry(m);
}
