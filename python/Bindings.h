// The Python module `tavrin`, one binding file per part of the embedded host it shows; each adds
// its classes and functions to the module. Python names are the C++ ones in snake case
// (renderFrame: render_frame); documents' own keys ("Points Size", "faceCentroids") stay as the
// file writes them.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

namespace tv::python {

void BindErrors(pybind11::module_& m);    // Errors.cpp: DocumentError, TavrinWarning
void BindDocument(pybind11::module_& m);  // DocumentBindings.cpp: load, save, list, values
void BindRender(pybind11::module_& m);    // RenderBindings.cpp: frames, files, SVG
void BindGeometry(pybind11::module_& m);  // GeometryBindings.cpp: a layer's gathered geometry

// Each line as a tavrin.TavrinWarning (an effect's message, a value that changes nothing).
void Warn(const std::vector<std::string>& lines);

}  // namespace tv::python
