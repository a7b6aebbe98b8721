// "Tavrin Sound Effector": turns a layer's audio into motion, size and colour. A vertex's first
// lattice coordinate picks the frequency, its second an echo row further back in time.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

#include "effectors/EffectorFrame.h"
#include "effectors/SoundSpectrum.h"
#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "params/Gradient.h"
#include "params/GradientParam.h"
#include "effectors/EffectorEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kSoundLayer = 1,
    kStartAmp = 2,
    kEndAmp = 3,
    kFreqBegin = 4,
    kFreqEnd = 5,
    kDuration = 6,
    kEcho = 7,
    kAffectPosition = 8,
    kAffectScale = 9,
    kAffectColor = 10,
    kPositionFactor = 12,
    kAxis = 13,
    kScaleFactor = 16,
    kColorFactor = 19,
    kGradient = 20,
    kGroup = 22,
};

enum : int32_t { kAxisX = 1, kAxisY = 2, kAxisZ = 3, kAxisNormal = 4 };

// Quiet to loud: deep blue, cyan, white.
std::vector<uint8_t> DefaultGradient() {
    return MakeGradientRecord(
        {{0.0, 0.05f, 0.1f, 0.6f, 1}, {0.5, 0.1f, 0.8f, 1.0f, 1}, {1.0, 1, 1, 1, 1}});
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Row(1, 0, PF_Param_LAYER, "Sound Layer"), "The layer whose audio drives the effector."),
    Doc(Float(2, 2, "Sound Start Amplitude", 0, -1000000, 1000000, 0, 100, 1),
        "Strength at the start of the frequency range (the first vertices of each lattice row)."),
    Doc(Float(3, 3, "Sound End Amplitude", 0, -1000000, 1000000, 0, 100, 1),
        "Strength at the end of the frequency range; strength slides between the two."),
    Doc(Float(4, 5, "Frequency Begin", 0, 0, 40000, 0, 100, 1), ParamUnit::Hertz,
        "Lowest frequency heard; vertices along a lattice row read from here up."),
    Doc(Float(5, 6, "Frequency End", 2000, 0, 40000, 0, 1000, 1), ParamUnit::Hertz,
        "Highest frequency heard."),
    Doc(Float(6, 7, "Sample Duration (ms)", 100, 0, 10000, 0, 1000, 1), ParamUnit::Milliseconds,
        "Length of audio analysed for each spectrum: longer is smoother, less sharp in time."),
    Doc(Float(7, 8, "Echo Time Delay", 0, 0, 10000, 0, 1000, 1),
        "Time between lattice rows, in hundredths of a frame: higher rows show older sound."),
    Doc(Row(8, 11, PF_Param_CHECKBOX, "Affect Position", 1), "The sound moves vertices."),
    Doc(Row(9, 12, PF_Param_CHECKBOX, "Affect Scale", 0), "The sound enlarges vertices."),
    Doc(Row(10, 13, PF_Param_CHECKBOX, "Affect Color", 0),
        "The sound colours vertices from the gradient."),
    GroupStart(11, 14, "Position"),
    Doc(Float(12, 15, "Position Factor", 1, -1000000, 1000000, 0, 1, 2),
        "Multiplies how far the sound moves vertices."),
    Doc(Popup(13, 9, "Apply Sound to Axis", "X|Y|Z|Normal", 4, 2),
        "Direction in which the sound moves vertices: an axis or each vertex's normal."),
    GroupEnd(14, 16),
    GroupStart(15, 17, "Scale"),
    Doc(Float(16, 18, "Scale Factor", 1, -1000000, 1000000, 0, 1, 2),
        "Multiplies how much the sound enlarges vertices."),
    GroupEnd(17, 19),
    GroupStart(18, 20, "Color"),
    Doc(Float(19, 23, "Color Factor", 1, -1000000, 1000000, 0, 1, 2),
        "Multiplies how far along the gradient the sound goes."),
    Doc(GradientParam(20, 21, "Color Gradient", &DefaultGradient),
        "Colours the sound picks from: quiet at the left end, loud at the right."),
    GroupEnd(21, 22),
    Doc(Popup(22, 10, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Acts only on the vertices of this group; All Groups acts on every vertex."),
};

struct SoundRecord {
    bool hasLayer = false;
    double startAmp = 0, endAmp = 0, f0 = 0, f1 = 2000;
    double sampleDuration = 0.1;  // seconds
    double echo = 0;              // frames
    bool affectPosition = true, affectScale = false, affectColor = false;
    double positionFactor = 1, scaleFactor = 1, colorFactor = 1;
    int32_t axis = kAxisNormal;
    std::vector<GradientStop> gradient;
    int32_t group = 12;
};

SoundRecord Read(PF_InData* in) {
    SoundRecord r;
    r.hasLayer = CheckoutParam(in, kSoundLayer).u.layerId != 0;
    r.startAmp = CheckoutParam(in, kStartAmp).u.floatValue;
    r.endAmp = CheckoutParam(in, kEndAmp).u.floatValue;
    r.f0 = CheckoutParam(in, kFreqBegin).u.floatValue;
    r.f1 = CheckoutParam(in, kFreqEnd).u.floatValue;
    r.sampleDuration = CheckoutParam(in, kDuration).u.floatValue / 1000.0;
    r.echo = CheckoutParam(in, kEcho).u.floatValue / 100.0;
    r.affectPosition = CheckedParam(in, kAffectPosition);
    r.affectScale = CheckedParam(in, kAffectScale);
    r.affectColor = CheckedParam(in, kAffectColor);
    r.positionFactor = CheckoutParam(in, kPositionFactor).u.floatValue;
    r.axis = CheckoutParam(in, kAxis).u.popup;
    r.scaleFactor = CheckoutParam(in, kScaleFactor).u.floatValue;
    r.colorFactor = CheckoutParam(in, kColorFactor).u.floatValue;
    if (const PF_Handle h = CheckoutParam(in, kGradient).u.arbData) {
        SuiteCache suites(in);
        if (const void* bytes = suites->lockHandle(h)) {
            r.gradient =
                GetGradientStops(static_cast<const uint8_t*>(bytes), suites->handleSize(h));
            suites->unlockHandle(h);
        }
    }
    r.group = CheckoutParam(in, kGroup).u.popup;
    return r;
}

// The largest lattice sizes of the group's ranges, each at least 1.
void MaxLattice(const GeometryStore& s, int32_t group, int32_t out[3]) {
    out[0] = out[1] = out[2] = 1;
    for (const ObjectRange& r : s.ranges)
        if (group == kAllGroups || r.group == group)
            for (int k = 0; k < 3; ++k) out[k] = std::max(out[k], r.latticeSize[k]);
}

EchoRows Plan(PF_InData* in, const SoundRecord& r, const GeometryStore& s) {
    int32_t maxLattice[3];
    MaxLattice(s, r.group, maxLattice);
    return PlanEchoRows(maxLattice[1], r.echo, in->time_step, in->current_time, in->time_scale);
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& msg) {
    const SoundRecord r = Read(in);
    if (!r.hasLayer) return PF_Err_NONE;
    const auto started = std::chrono::steady_clock::now();
    SuiteCache suites(in);
    HostServices& host = suites.host();
    GeometryStore& s = *msg.geometry;
    const EchoRows e = Plan(in, r, s);
    const double scale = in->time_scale;
    // One checkout serves every row.
    std::vector<float> audio;
    const double length = (double(e.cur) / scale - e.t0) + r.sampleDuration;
    if (const PF_Err err =
            host.layerAudio(in->effect_ref, kSoundLayer, e.t0, length, kSoundRate, audio)) {
        host.diagnostic("Audio Checkout Err:" + std::to_string(err));
        return PF_Err_NONE;  // no audio: the vertices stay as they are
    }
    const auto w = size_t(std::max(0.0, std::trunc(r.sampleDuration * kSoundRate)));
    std::vector<std::vector<float>> rows(size_t(e.rows));
    host.iterate(e.rows, [&](int32_t i) {
        const double start = (double(e.cur - int64_t(i) * e.step) / scale - e.t0) * kSoundRate;
        const auto first = int64_t(std::trunc(start));
        if (first >= 0 && size_t(first) + w <= audio.size())
            rows[size_t(i)] = SoundSpectrum(audio.data() + first, w, r.f0, r.f1);
        return PF_Err_NONE;
    });
    std::vector<float> liveSamples;
    std::vector<float> live;
    if (!host.layerAudio(in->effect_ref, kSoundLayer, double(in->current_time) / scale,
                         r.sampleDuration, kSoundRate, liveSamples))
        live = SoundSpectrum(liveSamples.data(), std::min(w, liveSamples.size()), r.f0, r.f1);

    const double slide = double(e.rem) / double(e.step);
    for (const ObjectRange& range : s.ranges) {
        if (r.group != kAllGroups && range.group != r.group) continue;
        const double nx = std::max(range.latticeSize[0], 1), ny = std::max(range.latticeSize[1], 1);
        const uint32_t end =
            std::min<uint32_t>(range.vertexStart + range.vertexCount, uint32_t(s.positions.size()));
        const PF_Err err = ForEachElement(in, range.vertexStart, end, [&](uint32_t i) {
            const Vec3i l = i < s.lattice.size() ? s.lattice[i] : Vec3i{};
            const double u = l.x / nx;
            const float value = l.y < 1 ? LiveLookup(live, u)
                                        : TableLookup(rows, u, ((l.y + 1) - slide) / (ny + 2));
            const double amp =
                (r.endAmp - r.startAmp) * std::clamp(l.y / ny, 0.0, 1.0) + r.startAmp;
            if (r.affectPosition) {
                const auto d = float(r.positionFactor * value * 100 * amp);
                Vec3f& p = s.positions[i];
                if (r.axis == kAxisX) p.x += d;
                if (r.axis == kAxisY) p.y += d;
                if (r.axis == kAxisZ) p.z += d;
                if (r.axis == kAxisNormal && i < s.normals.size()) {
                    p.x += s.normals[i].x * d;
                    p.y += s.normals[i].y * d;
                    p.z += s.normals[i].z * d;
                }
            }
            if (r.affectScale && i < s.scales.size())
                s.scales[i] += float(value * 10 * amp * r.scaleFactor);
            if (r.affectColor && i < s.colors.size()) {
                const double t = std::clamp(value * amp * r.colorFactor, 0.0, 1.0);
                const auto c = GradientColorAt(r.gradient, t);
                s.colors[i].r = c[0], s.colors[i].g = c[1], s.colors[i].b = c[2];
            }
        });
        if (err) return err;
    }
    host.diagnostic(
        "Sound Effector: " +
        std::to_string(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count()));
    return PF_Err_NONE;
}

uint64_t HashOf(PF_InData* in, ObjectMessage&) {
    const SoundRecord r = Read(in);
    ParamHasher h(173);
    h.add(r.startAmp).add(r.endAmp).add(r.f0).add(r.f1).add(r.sampleDuration).add(r.echo);
    h.add(r.positionFactor).add(r.scaleFactor).add(r.colorFactor);
    h.add(int32_t(r.hasLayer))
        .add(int32_t(r.affectPosition))
        .add(int32_t(r.affectScale))
        .add(int32_t(r.affectColor))
        .add(r.axis)
        .add(r.group);
    for (const GradientStop& g : r.gradient)
        h.add(g.position).add(g.red).add(g.green).add(g.blue).add(g.alpha);
    // The audio up to the end of the live spectrum (the echo rows read earlier times): a changed
    // sound re-renders, and so does a new time.
    if (r.hasLayer) {
        const auto span =
            int32_t(in->current_time + int64_t(std::ceil(r.sampleDuration * in->time_scale)) + 1);
        SuiteCache suites(in);
        h.add(suites->layerParamStateToken(in->effect_ref, kSoundLayer, A_Time{0, in->time_scale},
                                           span));
        h.add(int32_t(in->current_time));
    }
    return h.value();
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &HashOf, .effector = true};

// What a target that is off would not use is hidden.
PF_Err Visibility(PF_InData* in) {
    const bool position = CheckedParam(in, kAffectPosition);
    const bool scale = CheckedParam(in, kAffectScale);
    const bool color = CheckedParam(in, kAffectColor);
    const ParamRule rules[] = {
        {kPositionFactor, !position}, {kAxis, !position},  {kScaleFactor, !scale},
        {kColorFactor, !color},       {kGradient, !color},
    };
    return ShowParameters(in, rules);
}

PF_Err ArbCallback(PF_InData* in, PF_OutData*, void* extra) {
    return extra ? GradientArbCallback(in, *static_cast<PF_ArbParamsExtra*>(extra), 4)
                 : PF_Err_NONE;
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
    .visibilityOnce = true,
    .arbitraryCallback = &ArbCallback,
};

}  // namespace

ParamTable SoundParams() {
    return kTable;
}

PF_Err SoundEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kSoundInfo, kHandlers, cmd, in_data, out_data, params, output, extra);
}

// The effect's row in the module's effect table.
const EffectInfo kSoundInfo{
    20,
    "Tavrin Sound Effector",
    "KDL TAVREFF Sound Effector",
    "SoundEntryPointFunc",
    &SoundEntryPointFunc,
    0x308010,
    0x1401,
    EffectRole::Effector,
    "Sound Effector, Applies Sound Waveforms to Points.",
    true,
    &SoundParams,
    "An effector that moves, scales or colours vertices by an audio layer's spectrum: across a "
    "lattice row the frequencies, up the rows the recent past.",
    "Choose the layer carrying the sound as Sound Layer and raise Sound Start Amplitude and Sound "
    "End Amplitude (both 0 do nothing). A cube lattice of the Primitives source suits it: X is "
    "frequency, Y is time."};

}  // namespace tv
