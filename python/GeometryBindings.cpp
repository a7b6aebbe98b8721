// A layer's gathered geometry in Python: the arrays `tavrin geometry` writes, as NumPy arrays
// under the same names.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <fmt/format.h>

#include <cstring>

#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "python/Bindings.h"
#include "python/DocumentState.h"
#include "python/Locks.h"
#include "standalone/CompFrames.h"

namespace py = pybind11;

namespace tv::python {

namespace {

using State = std::shared_ptr<DocumentState>;

// An (n, columns) array of T copied from a vector of n records of `columns` T each.
template <typename T, typename Record>
py::array Columns(const std::vector<Record>& records, py::ssize_t columns) {
    static_assert(sizeof(Record) == sizeof(T) * 4 || sizeof(Record) == sizeof(T) * 3 ||
                  sizeof(Record) == sizeof(T));
    std::vector<py::ssize_t> shape{py::ssize_t(records.size())};
    if (columns > 1) shape.push_back(columns);
    py::array_t<T> array(shape);
    if (!records.empty())
        std::memcpy(array.mutable_data(), records.data(), records.size() * sizeof(Record));
    return array;
}

py::dict Groups(const std::map<int32_t, GroupRange>& groups) {
    py::dict out;
    for (const auto& [group, range] : groups) {
        py::dict r;
        r["start"] = range.start;
        r["count"] = range.count;
        out[py::str(std::to_string(group))] = r;
    }
    return out;
}

py::dict Geometry(const State& s, const std::string& layerName, int64_t frame,
                  const std::string& compName) {
    auto lock = WriteLock(*s);
    LayerIndex(s->json, CompIndex(s->json, compName), layerName);
    standalone::Comp& comp = standalone::PickComp(*s->host, compName);
    standalone::Layer& layer = standalone::PickLayer(comp, layerName);
    if (frame < 0 || frame >= comp.frameCount())
        throw py::value_error(fmt::format("frame {} is outside the comp \"{}\"'s frames 0-{}",
                                          frame, comp.name, comp.frameCount() - 1));
    ScopedObjectMessage message;
    PF_Err status = PF_Err_NONE;
    {
        py::gil_scoped_release release;
        status = Gather(*s->host, layer.uid, comp.frameTime(frame), *message);
    }
    if (status == kLoopGuardStatus) Warn({kInfiniteLoopMessage});
    const GeometryStore& g = *message->geometry;
    py::dict out;
    out["positions"] = Columns<float>(g.positions, 3);
    out["colors"] = Columns<float>(g.colors, 4);
    out["uvw"] = Columns<float>(g.uvw, 3);
    out["lattice"] = Columns<int32_t>(g.lattice, 3);
    out["blurs"] = Columns<float>(g.blurs, 1);
    out["scales"] = Columns<float>(g.scales, 1);
    out["normals"] = Columns<float>(g.normals, 3);
    out["faces"] = Columns<int32_t>(g.faces, 3);
    out["faceCentroids"] = Columns<float>(g.faceCentroids, 3);
    out["faceColorsA"] = Columns<float>(g.faceColorsA, 4);
    out["faceColorsB"] = Columns<float>(g.faceColorsB, 4);
    out["faceColorsC"] = Columns<float>(g.faceColorsC, 4);
    out["faceRotations"] = Columns<float>(g.faceRotations, 3);
    out["jitter"] = Columns<float>(g.jitter, 3);
    out["vertexGroups"] = Groups(g.vertexGroups);
    out["faceGroups"] = Groups(g.faceGroups);
    py::list ranges;
    for (const ObjectRange& r : g.ranges) {
        py::dict d;
        d["group"] = r.group;
        d["kind"] = r.kind;
        d["vertexStart"] = r.vertexStart;
        d["vertexCount"] = r.vertexCount;
        d["faceStart"] = r.faceStart;
        d["faceCount"] = r.faceCount;
        d["latticeSize"] = py::make_tuple(r.latticeSize[0], r.latticeSize[1], r.latticeSize[2]);
        ranges.append(d);
    }
    out["ranges"] = ranges;
    return out;
}

}  // namespace

void BindGeometry(py::module_& m) {
    auto doc = py::reinterpret_borrow<py::class_<DocumentState, State>>(m.attr("Document"));
    doc.def("geometry", &Geometry, py::arg("layer"), py::arg("frame") = 0, py::kw_only(),
            py::arg("comp") = "",
            "A layer's gathered geometry at a frame, as `tavrin geometry` writes it: NumPy "
            "arrays positions (n, 3), colors (n, 4), uvw, lattice, blurs, scales, normals, "
            "faces (m, 3), faceCentroids, faceColorsA/B/C, faceRotations, jitter; and "
            "vertexGroups, faceGroups, ranges.");
}

}  // namespace tv::python
