#include "cli/RenderCommand.h"

#include <fmt/format.h>
#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/parallel_for_each.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <set>
#include <stdexcept>
#include <vector>

#include "host/MainParams.h"
#include "resources/EffectTable.h"
#include "standalone/BundledExample.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/ImageOutput.h"

namespace tv::cli {

namespace {

// "0-47", "0,10,20" or a mix; every frame must lie inside the comp.
std::vector<int64_t> ParseFrames(const std::string& text, int64_t frameCount) {
    std::vector<int64_t> frames;
    if (text.empty()) return {0};
    size_t pos = 0;
    while (pos <= text.size()) {
        const size_t comma = text.find(',', pos);
        const std::string part =
            text.substr(pos, comma == std::string::npos ? std::string::npos : comma - pos);
        const size_t dash = part.find('-', 1);
        try {
            size_t used = 0;
            const int64_t a = std::stoll(part.substr(0, dash), &used);
            if (used != (dash == std::string::npos ? part.size() : dash))
                throw std::invalid_argument(part);
            int64_t b = a;
            if (dash != std::string::npos) {
                b = std::stoll(part.substr(dash + 1), &used);
                if (used != part.size() - dash - 1) throw std::invalid_argument(part);
            }
            if (b < a) throw std::invalid_argument(part);
            for (int64_t f = a; f <= b; ++f) frames.push_back(f);
        } catch (const std::logic_error&) {
            throw std::runtime_error(
                fmt::format("--frames: \"{}\" is not a frame list; write 0-47 or 0,10,20", part));
        }
        if (comma == std::string::npos) break;
        pos = comma + 1;
    }
    for (int64_t f : frames)
        if (f < 0 || f >= frameCount)
            throw std::runtime_error(
                fmt::format("--frames: frame {} is outside the comp, which has frames 0-{}", f,
                            frameCount - 1));
    return frames;
}

// Sets "Unified Rendering" on every instance of the main effect in the project, as if the
// document said so.
void ForceUnified(standalone::EmbeddedHost& host, bool on) {
    for (const auto& comp : host.project().comps)
        for (const auto& layer : comp->layers)
            for (const auto& instance : layer->effects) {
                const auto* installed = host.installedEffect(instance->key);
                if (!installed || installed->matchName != EffectTable()[0].matchName) continue;
                standalone::ParamState& p = instance->params[size_t(kMainUnified)];
                p.keys.clear();
                p.value.u.checkbox = on ? 1 : 0;
            }
}

// Says once per run which path drew the frames and what a path left out.
void PrintRenderNotes(const standalone::EmbeddedHost& host) {
    const auto notes = host.renderNotes();
    auto each = [&notes](const char* key, auto&& fn) {
        if (const auto it = notes.find(key); it != notes.end())
            for (const std::string& text : it->second) fn(text);
    };
    each("path", [](const std::string& t) { fmt::print(stderr, "drawn by the {}\n", t); });
    each("no-gpu", [](const std::string& t) {
        fmt::print(stderr,
                   "warning: \"Unified Rendering\" is on but the GL path is not available ({}); "
                   "frames were drawn by the software path, without depth of field, motion "
                   "blur or facets\n",
                   t.empty() ? "no usable OpenGL 3.2 context" : t);
    });
    each("facets-skipped", [](const std::string& t) { fmt::print(stderr, "warning: {}\n", t); });
}

}  // namespace

int RunRenderCommand(const RenderOptions& options) {
    try {
        if (options.bitDepth != 8 && options.bitDepth != 32)
            throw std::runtime_error("--bit-depth must be 8 (PNG) or 32 (EXR)");
        standalone::EmbeddedHost host;
        host.setEchoDiagnostics(options.verbose);
        standalone::Comp* chosen = nullptr;
        if (options.document.empty()) {
            chosen = &standalone::BuildBundledExample(host);
        } else {
            standalone::LoadDocumentFile(options.document, host);
            if (options.comp.empty()) {
                chosen = host.project().comps.front().get();
            } else if (!(chosen = host.compByName(options.comp))) {
                std::vector<std::string> names;
                for (const auto& c : host.project().comps) names.push_back(c->name);
                throw std::runtime_error("--comp: no comp named \"" + options.comp + "\"; " +
                                         standalone::NearestNames(options.comp, names));
            }
        }
        if (!options.unified.empty()) ForceUnified(host, options.unified == "on");
        standalone::Comp& comp = *chosen;
        const int64_t frameCount =
            std::max<int64_t>(1, int64_t(comp.duration * comp.fpsNum / std::max(comp.fpsDen, 1)));
        const std::vector<int64_t> frames = ParseFrames(options.frames, frameCount);
        const std::string ext = options.bitDepth == 32 ? ".exr" : ".png";
        const std::string pattern =
            options.output.empty()
                ? "tavrin-out/" + standalone::SafeFileName(comp.name) + "_####" + ext
                : options.output;

        // Which effects of the comp cannot contribute yet: said plainly, never faked.
        std::set<std::string> unbuilt;
        for (const auto& layer : comp.layers)
            for (const auto& instance : layer->effects) {
                const auto* installed = host.installedEffect(instance->key);
                const EffectInfo* info = FindEffectByMatchName(installed->matchName);
                if (info && !info->built) unbuilt.insert(info->displayName);
            }
        for (const std::string& name : unbuilt)
            fmt::print(stderr, "note: \"{}\" is not built yet and adds nothing to the frame\n",
                       name);

        tbb::global_control threads(
            tbb::global_control::max_allowed_parallelism,
            options.threads > 0 ? size_t(options.threads) : tbb::info::default_concurrency());
        standalone::CompRenderer renderer(host);
        const bool tty = isatty(fileno(stderr));
        std::atomic<size_t> done{0};
        std::mutex printMutex;
        std::vector<std::string> errors;
        const auto start = std::chrono::steady_clock::now();
        tbb::parallel_for_each(frames.begin(), frames.end(), [&](int64_t frame) {
            try {
                std::vector<std::string> messages;
                const auto image = renderer.renderFrame(comp, frame, options.bitDepth, messages);
                const std::string path = standalone::FramePath(pattern, frame, frames.size() > 1);
                standalone::WriteImage(path, image, options.bitDepth);
                const size_t n = ++done;
                const double secs =
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
                std::lock_guard lock(printMutex);
                for (const auto& m : messages) fmt::print(stderr, "frame {}: {}\n", frame, m);
                const double rate = n / std::max(secs, 1e-9);
                if (tty)
                    fmt::print(stderr, "\r[{:>4}/{}] {:.1f} frames/s, {:.0f} s left   ", n,
                               frames.size(), rate, (frames.size() - n) / rate);
                else
                    fmt::print(stderr, "wrote {} ({}/{})\n", path, n, frames.size());
            } catch (const std::exception& e) {
                std::lock_guard lock(printMutex);
                errors.push_back(fmt::format("frame {}: {}", frame, e.what()));
            }
        });
        if (tty) fmt::print(stderr, "\n");
        const double secs =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        PrintRenderNotes(host);
        for (const auto& e : errors) fmt::print(stderr, "tavrin render: {}\n", e);
        fmt::print("rendered {} of {} frames of \"{}\" ({}x{}, {} bits) in {:.2f} s to {}\n",
                   done.load(), frames.size(), comp.name, comp.width, comp.height, options.bitDepth,
                   secs, standalone::FramePath(pattern, frames.front(), frames.size() > 1));
        return errors.empty() ? 0 : 1;
    } catch (const std::exception& e) {
        fmt::print(stderr, "tavrin render: {}\n", e.what());
        return 2;
    } catch (const HostErrorCode& e) {
        fmt::print(stderr, "tavrin render: the host failed with code {}\n", e.code);
        return 2;
    }
}

}  // namespace tv::cli
