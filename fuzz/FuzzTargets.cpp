#include "fuzz/FuzzTargets.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/farm/CommandLineText.h"
#include "cli/farm/FramePlan.h"
#include "cli/farm/FrameSelection.h"
#include "cli/farm/Shard.h"
#include "host/SequenceRecord.h"
#include "params/DistanceCurve.h"
#include "params/Gradient.h"
#include "sources/ObjReadText.h"
#include "standalone/Document.h"
#include "standalone/DocumentText.h"
#include "standalone/DocumentWriter.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/ImageOutput.h"
#include "standalone/WorkEstimate.h"

namespace tv::fuzz {

void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz property broken: %s\n", what);
    std::abort();
}

void FuzzCommandLine(const uint8_t* data, size_t size) {
    std::vector<std::optional<std::string>> fields(13);
    size_t at = 0;
    for (size_t i = 0; i < fields.size() && at <= size; ++i) {
        const auto* begin = reinterpret_cast<const char*>(data) + at;
        const auto* nul = static_cast<const char*>(std::memchr(begin, 0, size - at));
        const size_t length = nul ? size_t(nul - begin) : size - at;
        fields[i] = std::string(begin, length);
        at += length + 1;
    }
    const auto field = [&](size_t i) { return fields[i].value_or(""); };
    // Paths and names: the control-character check never throws and finds what it says.
    for (size_t i : {size_t(0), size_t(4)}) {
        const std::string text = field(i);
        const std::string problem = cli::ControlCharacterProblem(text);
        const bool control = std::any_of(text.begin(), text.end(), [](char c) {
            return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
        });
        Require(!control || !problem.empty(), "a control character is found");
    }
    // The memory limit: a size or -1, never a negative or infinite size.
    const double bytes = standalone::ParseBytes(field(3));
    Require(bytes == -1 || (bytes > 0 && std::isfinite(bytes)), "a size is positive and finite");
    // The shard, from the option or from the farm's variables.
    std::optional<cli::Shard> shard;
    cli::ShardMode mode = cli::ShardMode::Interleaved;
    try {
        if (fields[2]) mode = cli::ParseShardMode(field(2));
        if (fields[1] && !field(1).empty()) {
            shard = cli::ParseShard(field(1));
        } else {
            cli::Environment env;
            const char* names[] = {"SLURM_ARRAY_TASK_ID",    "SLURM_ARRAY_TASK_MIN",
                                   "SLURM_ARRAY_TASK_MAX",   "SLURM_ARRAY_TASK_STEP",
                                   "SLURM_ARRAY_TASK_COUNT", "JOB_COMPLETION_INDEX"};
            for (size_t i = 0; i < 6; ++i)
                if (fields[6 + i]) env[names[i]] = field(6 + i);
            std::optional<int64_t> count;
            if (fields[12]) {
                char* end = nullptr;
                count = std::strtoll(field(12).c_str(), &end, 10);
            }
            if (!env.empty()) shard = cli::ShardFromEnvironment(env, count);
        }
    } catch (const cli::ShardError&) {
        return;
    }
    if (shard)
        Require(shard->count >= 1 && shard->count <= cli::kMaxShards && shard->index >= 0 &&
                    shard->index < shard->count,
                "an accepted shard is I/N with 0 <= I < N <= the most shards");
    // The frames: a count of frames in the comp from the input, up to a day at 10,000 fps.
    int64_t frameCount = 1;
    for (char c : field(5).substr(0, 12))
        if (c >= '0' && c <= '9') frameCount = frameCount * 10 + (c - '0');
    frameCount = std::clamp<int64_t>(frameCount, 1, int64_t(86400) * 10000);
    cli::FramePlan plan;
    try {
        plan = cli::PlanFrames(field(0), frameCount, shard, mode);
    } catch (const cli::FrameSelectionError&) {
        return;
    }
    Require(!plan.selected.empty(), "an accepted plan selects frames");
    Require(int64_t(plan.selected.size()) <= cli::kMaxFramesPerRun,
            "a plan holds at most the frames of one run");
    for (size_t i = 0; i < plan.selected.size(); ++i) {
        Require(plan.selected[i] >= 0 && plan.selected[i] < frameCount, "frames lie in the comp");
        Require(i == 0 || plan.selected[i - 1] < plan.selected[i], "frames ascend, each once");
    }
    Require(plan.mine.size() <= plan.selected.size(), "a shard is a part of the selection");
    for (int64_t f : plan.mine)
        Require(std::binary_search(plan.selected.begin(), plan.selected.end(), f),
                "a shard's frame is a selected frame");
    // Frame names: every frame of a numbered pattern gets a name of its own. A pattern the
    // check refuses is refused by render before any frame is named (and names nothing).
    if (plan.selected.size() > 1 && field(4).find('#') != std::string::npos &&
        field(4).size() < 4096 && standalone::FramePatternProblem(field(4)).empty()) {
        const std::string a = standalone::FramePath(field(4), plan.selected[0], true);
        const std::string b = standalone::FramePath(field(4), plan.selected[1], true);
        Require(a != b, "two frames get two names");
    }
}

void FuzzDocument(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    standalone::EmbeddedHost host;
    try {
        standalone::LoadDocumentText(text, "fuzz.json", host);
    } catch (const std::exception&) {
        return;  // refused with a message: what bad input must get
    }
    for (const auto& comp : host.project().comps) {
        try {
            standalone::CheckWorkBudget(host, *comp, 1 << 30);
        } catch (const standalone::WorkLimitError&) {
        }
    }
    // What was accepted saves, and the saved document loads and saves alike.
    const std::string saved = standalone::SaveDocumentText(host, "fuzz.json");
    standalone::EmbeddedHost again;
    try {
        standalone::LoadDocumentText(saved, "fuzz.json", again);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n--- saved:\n%s\n", e.what(), saved.c_str());
        Require(false, "a saved document loads again");
    }
    Require(standalone::SaveDocumentText(again, "fuzz.json") == saved,
            "a saved document saves to the same text");
}

namespace {

struct ObjResult {
    bool ok = false;
    std::vector<std::array<double, 3>> positions;
    std::vector<Vec3i> faces;
    std::vector<Vec3f> normals, texCoords;
    std::string log;
};

ObjResult ReadWith(std::string_view text, const ObjReadOptions& options) {
    ObjResult r;
    std::ostringstream log;
    r.ok = ReadObjText(text, options, r.positions, r.faces, r.normals, r.texCoords, log);
    r.log = log.str();
    return r;
}

// Equal as bits, so that NaN positions compare too.
template <typename T>
bool SameBytes(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

}  // namespace

void FuzzObj(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ObjReadOptions whole;
    whole.chunkBytes = size + 1;
    whole.threads = 1;
    ObjReadOptions stretched;
    stretched.chunkBytes = 16;
    stretched.threads = 2;
    const ObjResult a = ReadWith(text, whole), b = ReadWith(text, stretched);
    Require(a.ok == b.ok, "stretches give the same result");
    Require(SameBytes(a.positions, b.positions), "stretches give the same positions");
    Require(SameBytes(a.faces, b.faces), "stretches give the same faces");
    Require(SameBytes(a.normals, b.normals), "stretches give the same normals");
    Require(SameBytes(a.texCoords, b.texCoords), "stretches give the same texture coordinates");
    Require(a.log == b.log, "stretches report the same lines");
}

void FuzzRecords(const uint8_t* data, size_t size) {
    if (size == 0) return;
    const std::vector<uint8_t> bytes(data + 1, data + size);
    switch (data[0] % 3) {
        case 0:
            if (const auto text = standalone::ReadTextRecord(bytes)) {
                const std::vector<uint8_t> again = standalone::MakeTextRecord(*text);
                Require(again.size() <= bytes.size() &&
                            std::memcmp(again.data(), bytes.data(), again.size()) == 0,
                        "a text record reads back as it is made");
            }
            break;
        case 1: {
            const auto stops = GetGradientStops(bytes.data(), bytes.size());
            for (double t : {-1.0, 0.0, 0.25, 0.5, 1.0, 2.0}) (void)GradientColorAt(stops, t);
            const auto again = MakeGradientRecord(stops);
            Require(GetGradientStops(again.data(), again.size()).size() == stops.size(),
                    "a gradient record reads back as it is made");
            break;
        }
        default: {
            (void)standalone::CurveName(bytes);
            DistanceCurve curve;
            if (!bytes.empty())
                std::memcpy(curve.samples.data(), bytes.data(),
                            std::min(bytes.size(), sizeof curve));
            for (float t : {-1.0f, 0.0f, 0.3f, 0.999f, 1.0f, 5.0f}) (void)curve.eval(t);
            break;
        }
    }
}

void FuzzSequence(const uint8_t* data, size_t size) {
    // One host for the process: set-up costs more than a conversion.
    static standalone::EmbeddedHost* host = [] {
        auto* h = new standalone::EmbeddedHost;
        auto& comp = h->addComp("c", 8, 8);
        auto& layer = h->addLayer(comp, "l", standalone::LayerKind::Solid);
        h->applyEffectInstance(layer, "KDL TAVRSRC OBJ");
        return h;
    }();
    standalone::EffectInstance& instance = *host->project().comps[0]->layers[0]->effects[0];
    host->disposeHandle(instance.sequenceData);
    instance.sequenceData = host->handleFromBytes(std::vector<uint8_t>(data, data + size));
    const uint32_t flags = size && (data[size - 1] & 1) ? PF_InFlag_PROJECT_IS_RENDER_ONLY : 0;
    const PF_Err err = host->callEffect(instance, PF_Cmd_SEQUENCE_RESETUP, A_Time{0, 1}, nullptr,
                                        nullptr, nullptr, nullptr, flags);
    (void)host->takeDiagnostics();
    if (err != PF_Err_NONE) return;
    Require(
        host->callEffect(instance, PF_Cmd_SEQUENCE_FLATTEN, A_Time{0, 1}, nullptr) == PF_Err_NONE,
        "a set-up record flattens");
    const std::vector<uint8_t> flat = host->handleBytes(instance.sequenceData);
    // A current record keeps its header as it stands (its text length may then name text that
    // is gone, which readers bound by the handle's size).
    Require(flat.size() >= sizeof(SequenceRecord), "a flattened record holds the record");
    (void)host->takeDiagnostics();
}

}  // namespace tv::fuzz
