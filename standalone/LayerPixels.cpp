#include "standalone/LayerPixels.h"

#include <algorithm>

#include "standalone/CompRenderer.h"

namespace tv::standalone {

PF_Err MakeLayerPixels(EmbeddedHost& host, Layer& layer, const A_Time& compTime, int32_t bitDepth,
                       bool withEffects, std::unique_ptr<LayerWorld>& result) {
    // The comp renderer fills a comp just the layer's size that holds a copy of its source at
    // the default placement, so the pixels come through unmoved. The copy keeps the layer's uid:
    // its time conversions are the layer's own.
    Comp stage;
    stage.width = layer.width;
    stage.height = layer.height;
    auto copy = std::make_unique<Layer>();
    copy->uid = layer.uid;
    copy->id = layer.id;
    copy->kind = layer.kind;
    copy->inPoint = layer.inPoint;
    copy->outPoint = layer.outPoint;
    copy->startTime = layer.startTime;
    copy->width = layer.width;
    copy->height = layer.height;
    copy->sourceComp = layer.sourceComp;
    std::copy(std::begin(layer.solidColor), std::end(layer.solidColor), copy->solidColor);
    copy->imagePath = layer.imagePath;
    copy->sourceFile = layer.sourceFile;
    stage.layers.push_back(std::move(copy));
    std::vector<std::string> messages;
    CompRenderer renderer(host);
    const FloatImage image = renderer.renderAtTime(stage, compTime, bitDepth, messages, 1);

    auto a = std::make_unique<LayerWorld>(layer.width, layer.height, bitDepth);
    for (int32_t y = 0; y < layer.height; ++y) {
        uint8_t* row = a->world.data + size_t(y) * size_t(a->world.rowbytes);
        for (int32_t x = 0; x < layer.width; ++x) {
            const float* p = image.pixel(x, y);
            const float inv = p[3] > 0 ? 1.0f / p[3] : 0.0f;
            const float argb[4] = {p[3], p[0] * inv, p[1] * inv, p[2] * inv};
            for (int c = 0; c < 4; ++c) {
                if (bitDepth == 32)
                    reinterpret_cast<float*>(row)[x * 4 + c] = argb[c];
                else
                    row[x * 4 + c] = uint8_t(std::clamp(argb[c], 0.0f, 1.0f) * 255.0f + 0.5f);
            }
        }
    }
    if (withEffects) {
        const A_Time layerTime = host.convertCompToLayerTime(layer.uid, compTime);
        auto b = std::make_unique<LayerWorld>(layer.width, layer.height, bitDepth);
        for (auto& instance : layer.effects) {
            if (!instance->active) continue;
            PF_SmartRenderExtra extra;
            extra.bit_depth = bitDepth;
            PF_Err err;
            {
                const RenderWorldsScope worlds(host, {instance->uid, &a->world, &b->world});
                err = host.callEffect(*instance, PF_Cmd_SMART_RENDER, layerTime, &extra);
            }
            if (err) return err;
            std::swap(a, b);
        }
    }
    result = std::move(a);
    return PF_Err_NONE;
}

}  // namespace tv::standalone
