#include "standalone/CompRenderer.h"

#include "standalone/TextOutlines.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "host/ParamHash.h"
#include "standalone/ImageModule.h"
#include "standalone/WorkEstimate.h"

namespace tv::standalone {

namespace {

constexpr const char* kMainMatchName = "KDL TAVRUS TWO";

// The key the main effect mixes at pre-render, accumulated per thread.
thread_local uint64_t tFrameKey = 0;

PF_Err MixIntoFrameKey(PF_ProgPtr, uint32_t size, const void* data) {
    tFrameKey = HashCombine(tFrameKey, Fnv1a64(data, size));
    return PF_Err_NONE;
}

// The mean of the source pixels that pixel (x, y) of a picture shrunk by `scale` covers: a
// footage or text layer at a preview resolution, as a host reduces it.
void MeanUnder(const float* values, int32_t width, int32_t height, int32_t channels, double scale,
               int32_t x, int32_t y, float* out) {
    const auto span = [scale](int32_t at, int32_t size, int32_t& from, int32_t& to) {
        from = std::min(size - 1, int32_t(std::floor(at / scale)));
        to = std::clamp(int32_t(std::floor((at + 1) / scale)), from + 1, size);
    };
    int32_t x0, x1, y0, y1;
    span(x, width, x0, x1);
    span(y, height, y0, y1);
    for (int32_t c = 0; c < channels; ++c) out[c] = 0;
    for (int32_t sy = y0; sy < y1; ++sy)
        for (int32_t sx = x0; sx < x1; ++sx)
            for (int32_t c = 0; c < channels; ++c)
                out[c] += values[(size_t(sy) * size_t(width) + size_t(sx)) * size_t(channels) +
                                 size_t(c)];
    const float n = float((x1 - x0) * (y1 - y0));
    for (int32_t c = 0; c < channels; ++c) out[c] /= n;
}

float ChannelAt(const PF_EffectWorld& w, int32_t x, int32_t y, int c) {
    const uint8_t* row = w.data + size_t(y) * size_t(w.rowbytes);
    if (w.format == PF_PixelFormat_ARGB128) return reinterpret_cast<const float*>(row)[x * 4 + c];
    return row[x * 4 + c] / 255.0f;
}

}  // namespace

void CompositeOver(FloatImage& frame, const PF_EffectWorld& layer, int32_t left, int32_t top,
                   float opacity) {
    const int32_t x0 = std::max(0, left), y0 = std::max(0, top);
    const int32_t x1 = std::min(frame.width, left + layer.width);
    const int32_t y1 = std::min(frame.height, top + layer.height);
    // Rows are independent: each writes only its own pixels.
    tbb::parallel_for(y0, std::max(y0, y1), [&](int32_t y) {
        for (int32_t x = x0; x < x1; ++x) {
            const int32_t lx = x - left, ly = y - top;
            const float a = ChannelAt(layer, lx, ly, 0) * opacity;
            if (a <= 0) continue;
            float* p = frame.pixel(x, y);
            const float keep = 1.0f - a;
            p[0] = ChannelAt(layer, lx, ly, 1) * a + p[0] * keep;
            p[1] = ChannelAt(layer, lx, ly, 2) * a + p[1] * keep;
            p[2] = ChannelAt(layer, lx, ly, 3) * a + p[2] * keep;
            p[3] = a + p[3] * keep;
        }
    });
}

Placement PlaceLayer(const Layer& layer, const Comp& comp, double seconds, float& opacity) {
    const Transform2D& t = layer.transform;
    std::array<double, 4> anchor{layer.width / 2.0, layer.height / 2.0, 0, 0};
    std::array<double, 4> position{comp.width / 2.0, comp.height / 2.0, 0, 0};
    std::array<double, 4> scale{100, 100, 0, 0};
    double rotation = 0;
    opacity = 1;
    if (t.set) {
        anchor = t.anchor.at(seconds);
        position = t.position.at(seconds);
        scale = t.scale.at(seconds);
        rotation = t.rotation.at(seconds)[0];
        opacity = float(std::clamp(t.opacity.at(seconds)[0] / 100.0, 0.0, 1.0));
    }
    const double r = rotation * 3.14159265358979323846 / 180.0;
    const double c = std::cos(r), s = std::sin(r), sx = scale[0] / 100.0, sy = scale[1] / 100.0;
    Placement p;
    // comp = R * S * (layer - anchor) + position; y down, so positive angles turn clockwise.
    p.a[0] = c * sx, p.a[1] = -s * sy, p.a[2] = s * sx, p.a[3] = c * sy;
    p.b[0] = position[0] - (p.a[0] * anchor[0] + p.a[1] * anchor[1]);
    p.b[1] = position[1] - (p.a[2] * anchor[0] + p.a[3] * anchor[1]);
    return p;
}

void CompositePlaced(FloatImage& frame, const PF_EffectWorld& layer, const Placement& pl,
                     float opacity) {
    if (pl.isTranslation() && pl.b[0] == std::floor(pl.b[0]) && pl.b[1] == std::floor(pl.b[1])) {
        CompositeOver(frame, layer, int32_t(pl.b[0]), int32_t(pl.b[1]), opacity);
        return;
    }
    const double det = pl.a[0] * pl.a[3] - pl.a[1] * pl.a[2];
    if (det == 0 || !(opacity > 0)) return;
    const double inv[4] = {pl.a[3] / det, -pl.a[1] / det, -pl.a[2] / det, pl.a[0] / det};
    tbb::parallel_for(0, frame.height, [&](int32_t y) {
        for (int32_t x = 0; x < frame.width; ++x) {
            // The layer point under this pixel's centre, sampled bilinearly.
            const double cx = x + 0.5 - pl.b[0], cy = y + 0.5 - pl.b[1];
            const double lx = inv[0] * cx + inv[1] * cy - 0.5, ly = inv[2] * cx + inv[3] * cy - 0.5;
            const int32_t x0 = int32_t(std::floor(lx)), y0 = int32_t(std::floor(ly));
            if (x0 < -1 || y0 < -1 || x0 >= layer.width || y0 >= layer.height) continue;
            const double fx = lx - x0, fy = ly - y0;
            float acc[4] = {0, 0, 0, 0};  // premultiplied
            for (int k = 0; k < 4; ++k) {
                const int32_t sx = x0 + (k & 1), sy = y0 + (k >> 1);
                if (sx < 0 || sy < 0 || sx >= layer.width || sy >= layer.height) continue;
                const double w = ((k & 1) ? fx : 1 - fx) * ((k >> 1) ? fy : 1 - fy);
                const float a = ChannelAt(layer, sx, sy, 0);
                acc[0] += float(w) * ChannelAt(layer, sx, sy, 1) * a;
                acc[1] += float(w) * ChannelAt(layer, sx, sy, 2) * a;
                acc[2] += float(w) * ChannelAt(layer, sx, sy, 3) * a;
                acc[3] += float(w) * a;
            }
            const float a = acc[3] * opacity;
            if (a <= 0) continue;
            float* p = frame.pixel(x, y);
            const float keep = 1.0f - a;
            p[0] = acc[0] * opacity + p[0] * keep;
            p[1] = acc[1] * opacity + p[1] * keep;
            p[2] = acc[2] * opacity + p[2] * keep;
            p[3] = a + p[3] * keep;
        }
    });
}

void CompRenderer::fillSource(const Layer& layer, const A_Time& compTime, int32_t bitDepth,
                              LayerWorld& world, std::vector<std::string>& messages, int depth) {
    PF_EffectWorld& w = world.world;
    auto put = [&](int32_t x, int32_t y, float a, float r, float g, float b) {
        uint8_t* row = w.data + size_t(y) * size_t(w.rowbytes);
        if (bitDepth == 32) {
            float* p = reinterpret_cast<float*>(row) + x * 4;
            p[0] = a, p[1] = r, p[2] = g, p[3] = b;
        } else {
            uint8_t* p = row + x * 4;
            auto q = [](float v) { return uint8_t(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f); };
            p[0] = q(a), p[1] = q(r), p[2] = q(g), p[3] = q(b);
        }
    };
    switch (layer.kind) {
        case LayerKind::Solid: {
            // One pixel made the way every other is, then copied along the rows.
            const size_t pixelBytes = bitDepth == 32 ? 16 : 4;
            if (w.width <= 0 || w.height <= 0) break;
            put(0, 0, 1, layer.solidColor[0], layer.solidColor[1], layer.solidColor[2]);
            uint8_t pixel[16];
            std::memcpy(pixel, w.data, pixelBytes);
            tbb::parallel_for(0, w.height, [&](int32_t y) {
                uint8_t* row = w.data + size_t(y) * size_t(w.rowbytes);
                for (int32_t x = 0; x < w.width; ++x)
                    std::memcpy(row + size_t(x) * pixelBytes, pixel, pixelBytes);
            });
            break;
        }
        case LayerKind::Image: {
            // A file that opens but does not read whole (damaged or cut short since it loaded)
            // fails the frame: a frame with holes is not a finished frame. At a preview
            // resolution each pixel is the mean of the file's pixels it covers.
            const ImagePixels<float> image = ReadImageFloat(layer.imagePath);
            if (!image.complete)
                throw std::runtime_error("the image " + layer.imagePath +
                                         " is damaged: its pixels do not all read");
            const double scale = double(layer.width) > 0 ? double(w.width) / layer.width : 1.0;
            const int32_t n = image.channels;
            const int32_t shownW = std::min(w.width, host_.downsampled(image.width));
            const int32_t shownH = std::min(w.height, host_.downsampled(image.height));
            for (int32_t y = 0; y < shownH; ++y)
                for (int32_t x = 0; x < shownW; ++x) {
                    float p[4] = {0, 0, 0, 1};
                    if (scale == 1.0)
                        for (int32_t c = 0; c < std::min(n, 4); ++c)
                            p[c] = image.values[(size_t(y) * size_t(image.width) + size_t(x)) *
                                                    size_t(n) +
                                                size_t(c)];
                    else if (n <= 4)
                        MeanUnder(image.values.data(), image.width, image.height, n, scale, x, y,
                                  p);
                    const float g = n > 1 ? p[1] : p[0];
                    const float b = n > 2 ? p[2] : p[0];
                    const float a = n > 3 ? p[3] : 1.0f;
                    put(x, y, a, p[0], g, b);
                }
            break;
        }
        case LayerKind::Precomp: {
            const Comp* source = host_.compByUid(layer.sourceComp);
            if (!source || depth >= kMaxPrecompDepth) break;
            const double t = TimeToSeconds(compTime) - layer.startTime;
            const A_Time inner{static_cast<int32_t>(t * source->timeScale()), source->timeScale()};
            const FloatImage image = renderAtTime(*source, inner, bitDepth, messages, depth + 1);
            for (int32_t y = 0; y < std::min(w.height, image.height); ++y)
                for (int32_t x = 0; x < std::min(w.width, image.width); ++x) {
                    const float* p = image.pixel(x, y);
                    const float inv = p[3] > 0 ? 1.0f / p[3] : 0.0f;
                    put(x, y, p[3], p[0] * inv, p[1] * inv, p[2] * inv);
                }
            break;
        }
        case LayerKind::Text: {
            // The glyphs filled in the layer's colour, anti-aliased at full resolution; straight
            // colour, coverage as alpha (the mean coverage at a preview resolution).
            const std::vector<float> coverage = FillCoverage(
                TextOutlines(
                    TextStyle{layer.text, layer.sourceFile, layer.fontFamily, layer.fontSize},
                    layer.width, layer.height),
                layer.width, layer.height);
            const double scale = double(layer.width) > 0 ? double(w.width) / layer.width : 1.0;
            const float* c = layer.textColor;
            tbb::parallel_for(0, w.height, [&](int32_t y) {
                for (int32_t x = 0; x < w.width; ++x) {
                    float a = 0;
                    if (scale == 1.0)
                        a = coverage[size_t(y) * size_t(w.width) + size_t(x)];
                    else
                        MeanUnder(coverage.data(), layer.width, layer.height, 1, scale, x, y, &a);
                    put(x, y, a, c[0], c[1], c[2]);
                }
            });
            break;
        }
        default:
            break;  // other kinds have no pixels of their own
    }
}

LayerWorld* CompRenderer::runEffects(Layer& layer, const A_Time& layerTime, int32_t bitDepth,
                                     LayerWorld& a, LayerWorld& b,
                                     std::vector<std::string>& messages) {
    LayerWorld* input = &a;
    LayerWorld* output = &b;
    for (auto& instance : layer.effects) {
        if (!instance->active) continue;
        const InstalledEffect* installed = host_.installedEffect(instance->key);
        const bool isMain = installed && installed->matchName == kMainMatchName;
        PF_OutData out;
        std::tuple<uint64_t, uint64_t, int32_t> key{};
        if (isMain) {
            PF_PreRenderExtra pre;
            pre.guid_mix_in = &MixIntoFrameKey;
            tFrameKey = 0;
            const PF_Err err =
                host_.callEffect(*instance, PF_Cmd_SMART_PRE_RENDER, layerTime, &pre, &out);
            if (err)
                throw std::runtime_error(installed->displayName +
                                         " failed at pre-render with code " + std::to_string(err));
            // The effect's own key, its parameter values and the time name the finished frame.
            ParamHasher h(tFrameKey);
            for (const ParamState& p : instance->params) h.bytes(&p.value.u, sizeof p.value.u);
            h.add(layerTime.value).add(layerTime.scale).add(layer.width).add(layer.height);
            key = {instance->uid, h.value(), bitDepth};
            std::lock_guard lock(cacheMutex_);
            const auto it = cache_.find(key);
            if (it != cache_.end() && it->second.size() == output->bytes.size()) {
                CopyOnThreads(output->bytes.data(), it->second.data(), it->second.size());
                ++cacheHits_;
                std::swap(input, output);
                continue;
            }
        }
        PF_SmartRenderExtra extra;
        extra.bit_depth = bitDepth;
        PF_Err err = PF_Err_NONE;
        {
            const RenderWorldsScope worlds(host_, {instance->uid, &input->world, &output->world});
            err = host_.callEffect(*instance, PF_Cmd_SMART_RENDER, layerTime, &extra, &out);
        }
        if (out.return_msg[0]) messages.emplace_back(out.return_msg);
        if (err)
            throw std::runtime_error(
                installed->displayName + " on layer \"" + layer.name + "\" failed with code " +
                std::to_string(err) +
                (out.return_msg[0] ? ": " + std::string(out.return_msg) : std::string()));
        if (isMain) {
            std::lock_guard lock(cacheMutex_);
            WorldBytes& kept = cache_[key];
            kept.resize(output->bytes.size());
            CopyOnThreads(kept.data(), output->bytes.data(), kept.size());
        }
        std::swap(input, output);
    }
    return input;
}

FloatImage CompRenderer::renderAtTime(const Comp& comp, const A_Time& time, int32_t bitDepth,
                                      std::vector<std::string>& messages, int depth) {
    FloatImage frame;
    frame.width = host_.downsampled(comp.width);
    frame.height = host_.downsampled(comp.height);
    frame.rgba.resize(size_t(frame.width) * size_t(frame.height) * 4);
    ZeroOnThreads(reinterpret_cast<uint8_t*>(frame.rgba.data()), frame.rgba.size() * sizeof(float));
    const double seconds = TimeToSeconds(time);
    // A soloed layer hides every layer of its comp that is not soloed.
    const bool anySolo =
        std::any_of(comp.layers.begin(), comp.layers.end(), [](const auto& l) { return l->solo; });
    // Bottom of the stack first.
    for (auto it = comp.layers.rbegin(); it != comp.layers.rend(); ++it) {
        Layer& layer = **it;
        if (!layer.enabled || layer.is3D || (anySolo && !layer.solo)) continue;
        if (depth == 0 && solo_ && &layer != solo_) continue;
        if (seconds < layer.inPoint || seconds >= layer.outPoint) continue;
        if (layer.kind != LayerKind::Solid && layer.kind != LayerKind::Image &&
            layer.kind != LayerKind::Precomp && layer.kind != LayerKind::Text)
            continue;
        const int32_t w = host_.downsampled(layer.width), h = host_.downsampled(layer.height);
        if (w < 1 || h < 1) continue;
        LayerWorld a(w, h, bitDepth);
        LayerWorld b(w, h, bitDepth);
        fillSource(layer, time, bitDepth, a, messages, depth);
        const A_Time layerTime = host_.convertCompToLayerTime(layer.uid, time);
        LayerWorld* result = runEffects(layer, layerTime, bitDepth, a, b, messages);
        float opacity = 1;
        Placement placement = PlaceLayer(layer, comp, seconds, opacity);
        // At a preview resolution the layer's pixels and the comp shrink alike: only the
        // offset scales.
        const PF_RationalScale ds = host_.downsample();
        placement.b[0] *= double(ds.num) / ds.den;
        placement.b[1] *= double(ds.num) / ds.den;
        CompositePlaced(frame, result->world, placement, opacity);
    }
    // The background sits under everything, in the comp that is rendered, as much as its alpha
    // asks (none unless the document or the command line asks for it); a nested comp's
    // background is always transparent, as in any compositing host.
    const float bgAlpha = std::clamp(comp.backgroundAlpha, 0.0f, 1.0f);
    if (depth > 0 || bgAlpha <= 0) return frame;
    tbb::parallel_for(size_t(0), frame.rgba.size() / 4, [&](size_t i) {
        float* p = &frame.rgba[i * 4];
        const float keep = (1.0f - p[3]) * bgAlpha;
        p[0] += comp.background[0] * keep;
        p[1] += comp.background[1] * keep;
        p[2] += comp.background[2] * keep;
        p[3] += keep;
    });
    return frame;
}

FloatImage CompRenderer::renderFrame(const Comp& comp, int64_t frame, int32_t bitDepth,
                                     std::vector<std::string>& messages) {
    return renderAtTime(comp, comp.frameTime(frame), bitDepth, messages);
}

}  // namespace tv::standalone
