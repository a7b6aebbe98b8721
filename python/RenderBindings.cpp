// Frames in Python: a comp's frame as a NumPy array (drawn with the GIL released, so threads
// render at once) or written to a file as `tavrin render` writes it, and SVG export.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

#include "python/Bindings.h"
#include "python/DocumentState.h"
#include "python/Locks.h"
#include "standalone/CompFrames.h"
#include "standalone/CompRenderer.h"
#include "standalone/ImageOutput.h"
#include "standalone/OutputFormat.h"
#include "standalone/SvgExport.h"

namespace py = pybind11;

namespace tv::python {

namespace {

using State = std::shared_ptr<DocumentState>;

struct FrameRequest {
    std::string comp, layer;
    int64_t frame = 0;
    std::optional<double> time;  // seconds, instead of the frame
    PF_RationalScale scale;
};

PF_RationalScale ScaleOf(double scale) {
    if (!(scale > 0 && scale <= 1))
        throw py::value_error(fmt::format("scale {}: give a number above 0 and at most 1", scale));
    const int32_t den = 10000;
    const int32_t num = std::max(1, int32_t(std::lround(scale * den)));
    const int32_t divisor = std::gcd(num, den);
    return {num / divisor, uint32_t(den / divisor)};
}

A_Time TimeOf(const standalone::Comp& comp, const FrameRequest& r) {
    if (r.time) return standalone::CompTimeAt(comp, *r.time);
    if (r.frame < 0 || r.frame >= comp.frameCount())
        throw py::value_error(fmt::format("frame {} is outside the comp \"{}\"'s frames 0-{}",
                                          r.frame, comp.name, comp.frameCount() - 1));
    return comp.frameTime(r.frame);
}

// Draws the frame without the GIL, under the document's lock: shared when the host already
// draws at the asked scale, alone while it changes scale.
standalone::FloatImage Draw(DocumentState& state, const FrameRequest& r, int32_t bitDepth,
                            std::vector<std::string>& messages) {
    py::gil_scoped_release release;
    auto draw = [&] {
        standalone::Comp& comp = standalone::PickComp(*state.host, r.comp);
        standalone::CompRenderer renderer(*state.host);
        if (!r.layer.empty()) renderer.setSoloLayer(&standalone::PickLayer(comp, r.layer));
        return renderer.renderAtTime(comp, TimeOf(comp, r), bitDepth, messages);
    };
    const auto same = [&](PF_RationalScale s) {
        return int64_t(s.num) * r.scale.den == int64_t(r.scale.num) * s.den;
    };
    {
        std::shared_lock lock(state.mutex);
        if (same(state.host->downsample())) return draw();
    }
    std::unique_lock lock(state.mutex);
    state.host->setDownsample(r.scale);
    return draw();
}

// An array that owns `values` (moved to the heap): NumPy sees the frame's own memory.
template <typename T, typename Vector>
py::array OwningArray(Vector&& values, int32_t width, int32_t height) {
    auto* owned = new Vector(std::move(values));
    py::capsule free(owned, [](void* p) { delete static_cast<Vector*>(p); });
    const auto w = py::ssize_t(width), h = py::ssize_t(height);
    const auto item = py::ssize_t(sizeof(T));
    return py::array_t<T>({h, w, py::ssize_t(4)}, {w * 4 * item, 4 * item, item}, owned->data(),
                          free);
}

py::array Render(const State& s, int64_t frame, const std::string& comp, const std::string& layer,
                 std::optional<double> time, const std::string& dtype, const std::string& alpha,
                 double scale) {
    if (dtype != "uint8" && dtype != "float32")
        throw py::value_error("dtype \"" + dtype + "\": give \"uint8\" or \"float32\"");
    if (alpha != "straight" && alpha != "premultiplied")
        throw py::value_error("alpha \"" + alpha + "\": give \"straight\" or \"premultiplied\"");
    const FrameRequest request{comp, layer, frame, time, ScaleOf(scale)};
    {
        auto lock = ReadLock(*s);
        const size_t c = CompIndex(s->json, comp);
        if (!layer.empty()) LayerIndex(s->json, c, layer);
    }
    std::vector<std::string> messages;
    // 8-bit frames are drawn in 8-bit worlds and float ones in float, as `tavrin render` draws
    // a PNG and an EXR.
    standalone::FloatImage image = Draw(*s, request, dtype == "uint8" ? 8 : 32, messages);
    Warn(messages);
    const bool straight = alpha == "straight";
    if (dtype == "uint8") {
        if (straight)
            return OwningArray<uint8_t>(standalone::ToStraight8(image), image.width, image.height);
        std::vector<uint8_t> bytes(image.rgba.size());
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = uint8_t(std::lround(std::clamp(image.rgba[i], 0.0f, 1.0f) * 255.0f));
        return OwningArray<uint8_t>(std::move(bytes), image.width, image.height);
    }
    if (straight)
        for (size_t i = 0; i < image.rgba.size(); i += 4) {
            const float a = image.rgba[i + 3];
            const float inv = a > 0 ? 1.0f / a : 0.0f;
            for (size_t c = 0; c < 3; ++c) image.rgba[i + c] *= inv;
        }
    const int32_t width = image.width, height = image.height;
    return OwningArray<float>(std::move(image.rgba), width, height);
}

// Writes straight 8-bit RGBA pixels as `tavrin render` writes a frame.
void WritePixels(const std::string& path,
                 const py::array_t<uint8_t, py::array::c_style | py::array::forcecast>& pixels,
                 int32_t bitDepth) {
    if (pixels.ndim() != 3 || pixels.shape(2) != 4)
        throw py::value_error("pixels: give a (height, width, 4) array of straight RGBA");
    standalone::FloatImage image;
    image.height = int32_t(pixels.shape(0));
    image.width = int32_t(pixels.shape(1));
    image.rgba.resize(size_t(pixels.size()));
    const uint8_t* p = pixels.data();
    for (size_t i = 0; i < image.rgba.size(); i += 4) {
        const float a = p[i + 3] / 255.0f;
        for (size_t c = 0; c < 3; ++c) image.rgba[i + c] = p[i + c] / 255.0f * a;
        image.rgba[i + 3] = a;
    }
    standalone::ChooseOutputFormat(path, bitDepth);
    py::gil_scoped_release release;
    standalone::WriteImage(path, image, bitDepth);
}

}  // namespace

void BindRender(py::module_& m) {
    m.def("write_image", &WritePixels, py::arg("path"), py::arg("pixels"), py::kw_only(),
          py::arg("bit_depth") = 0,
          "Writes a (height, width, 4) uint8 array of straight RGBA (a frame from render(), a "
          "contact sheet of them) in the format the extension names, as `tavrin render` "
          "writes frames.");
    auto doc = py::reinterpret_borrow<py::class_<DocumentState, State>>(m.attr("Document"));
    doc.def("render", &Render, py::arg("frame") = 0, py::kw_only(), py::arg("comp") = "",
            py::arg("layer") = "", py::arg("time") = py::none(), py::arg("dtype") = "uint8",
            py::arg("alpha") = "straight", py::arg("scale") = 1.0,
            R"(Renders a frame of a comp (empty: the first) as a (height, width, 4) RGBA array.

frame: the frame number, or time: seconds of comp time instead. layer: composite only that
layer (the others stay in the comp for the effects). dtype "uint8" (drawn as `tavrin render`
draws a PNG) or "float32" (as it draws an EXR); alpha "straight" or "premultiplied".
scale: the preview resolution, above 0 and at most 1. The array owns the frame's memory.
Effects' messages come as TavrinWarning. Threads may render at once.)");
    doc.def(
        "render_file",
        [](const State& s, const std::string& path, int64_t frame, const std::string& comp,
           int32_t bitDepth, double scale) {
            const standalone::OutputFormat format = standalone::ChooseOutputFormat(path, bitDepth);
            {
                auto lock = ReadLock(*s);
                CompIndex(s->json, comp);
            }
            const FrameRequest request{comp, "", frame, std::nullopt, ScaleOf(scale)};
            std::vector<std::string> messages;
            const standalone::FloatImage image = Draw(*s, request, format.renderDepth(), messages);
            Warn(messages);
            auto lock = ReadLock(*s);
            const standalone::Comp& c = standalone::PickComp(*s->host, comp);
            py::gil_scoped_release release;
            standalone::WriteImage(path, image, format.bitDepth, c.background);
        },
        py::arg("path"), py::arg("frame") = 0, py::kw_only(), py::arg("comp") = "",
        py::arg("bit_depth") = 0, py::arg("scale") = 1.0,
        "Writes a frame as `tavrin render` does: the format from the extension (png, exr, tif, "
        "jpg), bit_depth 0 for the format's own; written whole or not at all.");
    doc.def(
        "export_svg",
        [](const State& s, std::optional<std::string> path, int64_t frame, const std::string& comp,
           const std::string& layer) -> py::object {
            auto lock = WriteLock(*s);
            standalone::Comp& c = standalone::PickComp(*s->host, comp);
            standalone::SvgExportOptions options;
            options.layer = layer;
            options.frame = frame;
            if (path) {
                standalone::ExportSvgFile(*s->host, c, options, *path);
                return py::none();
            }
            return py::str(standalone::ExportSvg(*s->host, c, options));
        },
        py::arg("path") = py::none(), py::arg("frame") = 0, py::kw_only(), py::arg("comp") = "",
        py::arg("layer") = "",
        "Exports a frame as SVG through the layer's \"Tavrin\" effect (empty: the first layer "
        "carrying it), as `tavrin export-svg` does: to `path`, or returned as text.");
}

}  // namespace tv::python
