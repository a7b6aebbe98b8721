#include "cli/RenderCommand.h"
#include "cli/Print.h"

#include <fmt/format.h>
#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/parallel_for.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

#include "cli/JsonOutput.h"
#include "cli/OutputOptions.h"
#include "cli/farm/FinishedFrames.h"
#include "cli/farm/FramePlan.h"
#include "cli/farm/Interruption.h"
#include "cli/farm/Shard.h"
#include "engines/gl/GlContext.h"
#include "main/MainParams.h"
#include "resources/EffectTable.h"
#include "standalone/BundledExample.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/DocumentWarnings.h"
#include "standalone/ImageOutput.h"
#include "standalone/WholeFile.h"
#include "standalone/OutputFormat.h"
#include "standalone/WorkEstimate.h"

namespace tv::cli {

namespace {

// What became of one frame of this run.
struct FrameRecord {
    int64_t frame = 0;
    std::string file;
    // "rendered", "skipped" (finished before), "failed" or "interrupted" (not started when the
    // run was asked to stop)
    std::string status;
    double seconds = 0;  // drawing and writing
    std::vector<std::string> messages;
    std::string error;
    bool fallback = false;  // drawn by the software path where the GL path was asked for
};

// Why the GL path did not draw, from the host's notes; empty when it did or was not asked for.
std::string FallbackReason(const standalone::EmbeddedHost& host) {
    const auto notes = host.renderNotes();
    const auto it = notes.find("no-gpu");
    if (it == notes.end()) return {};
    return it->second.empty() || it->second.begin()->empty() ? "no usable OpenGL 3.2 context"
                                                             : *it->second.begin();
}

// Marks a frame the software path drew in the GL path's place, or clears the mark of one the
// GL path drew, so that --skip-existing knows which frames are not what was asked for.
void MarkFallback(const std::string& file, const std::string& reason) {
    if (reason.empty()) {
        std::error_code ignored;
        std::filesystem::remove(FallbackMarkPath(file), ignored);
        return;
    }
    standalone::WriteTextWhole(
        FallbackMarkPath(file),
        "drawn by the software path: the GL path could not run (" + reason + ")\n");
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

// Once per run: which path drew the frames and what a path left out.
std::vector<std::string> RenderNoteLines(const standalone::EmbeddedHost& host) {
    std::vector<std::string> lines;
    const auto notes = host.renderNotes();
    auto each = [&notes](const char* key, auto&& fn) {
        if (const auto it = notes.find(key); it != notes.end())
            for (const std::string& text : it->second) fn(text);
    };
    each("path", [&](const std::string& t) { lines.push_back(fmt::format("drawn by the {}", t)); });
    each("no-gpu", [&](const std::string& t) {
        lines.push_back(fmt::format(
            "warning: \"Unified Rendering\" is on but the GL path is not available ({}); frames "
            "were drawn by the software path, without depth of field, motion blur or facets",
            t.empty() ? "no usable OpenGL 3.2 context" : t));
    });
    each("facets-skipped",
         [&](const std::string& t) { lines.push_back(fmt::format("warning: {}", t)); });
    each("obj-problem", [&](const std::string& t) {
        lines.push_back(fmt::format("warning: the OBJ file did not read cleanly: {}", t));
    });
    return lines;
}

// The shard this run renders, if any.
std::optional<Shard> ChooseShard(const RenderOptions& options) {
    if (!options.shard.empty() && options.shardFromEnv)
        throw ShardError("--shard and --shard-from-env exclude each other");
    if (options.shardCount && !options.shardFromEnv)
        throw ShardError("--shard-count goes with --shard-from-env; --shard I/N says N itself");
    if (options.shardCount && (*options.shardCount < 1 || *options.shardCount > kMaxShards))
        throw ShardError(
            fmt::format("--shard-count {}: must be 1 to {}", *options.shardCount, kMaxShards));
    if (!options.shard.empty()) return ParseShard(options.shard);
    if (options.shardFromEnv)
        return ShardFromEnvironment(ReadShardEnvironment(), options.shardCount);
    return std::nullopt;
}

Json RecordJson(const FrameRecord& r, double secondsPerFrame) {
    Json j = {{"frame", r.frame},
              {"file", r.file},
              {"status", r.status},
              {"time", double(r.frame) * secondsPerFrame},
              {"renderSeconds", r.seconds}};
    if (!r.messages.empty()) j["messages"] = r.messages;
    if (!r.error.empty()) j["error"] = r.error;
    if (r.fallback) j["fallback"] = true;
    return j;
}

// A comp's name as a file name inside the default pattern: '#', '%' and '$' would read as frame
// numbers there, so they become '_' as separators do.
std::string PatternFreeName(const std::string& compName) {
    std::string name = standalone::SafeFileName(compName);
    for (char& c : name)
        if (c == '#' || c == '%' || c == '$') c = '_';
    return name;
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// The --log file, made anew (with its folder) before anything is drawn.
std::FILE* OpenLog(const std::string& path) {
    std::error_code error;
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (!parent.empty()) std::filesystem::create_directories(parent, error);
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (!file)
        throw std::runtime_error("--log \"" + path + "\": cannot write the file (" +
                                 std::string(std::strerror(errno)) + ")");
    return file;
}

// What a movie cannot go with, refused before the document is read; returns the ffmpeg to run.
std::string MovieChecks(const RenderOptions& options) {
    if (!options.shard.empty() || options.shardFromEnv)
        throw std::runtime_error("-o \"" + options.output +
                                 "\": a movie is one file and cannot be split in shards; render "
                                 "frames in shards (-o shot_####.png) and encode them after");
    if (options.skipExisting)
        throw std::runtime_error(
            "--skip-existing: a movie is drawn whole; it goes with frames "
            "(-o shot_####.png)");
    if (!options.colorSpace.empty())
        throw std::runtime_error(
            "--colorspace: a movie holds sRGB, as its tags say; the option "
            "goes with frames (.exr, .tif, .png)");
    return standalone::FindFfmpeg(options.output);
}

}  // namespace

double MemoryLimit(const std::string& text) {
    if (text.empty()) return standalone::DefaultMemoryLimit();
    const double bytes = standalone::ParseBytes(text);
    if (bytes < 0)
        throw std::runtime_error("--memory-limit \"" + text +
                                 "\": give a size such as 8g, 512m, 64k or a number of bytes");
    return bytes;
}

int RunRenderCommand(const RenderOptions& options) {
    std::FILE* human = HumanStream(options.json);
    std::vector<std::string> runMessages;  // the run's notes and warnings, as printed
    auto say = [&runMessages, &options](const std::string& line) {
        if (!options.quiet) Print(stderr, "{}\n", line);
        runMessages.push_back(line);
    };
    auto fail = [&options](const std::string& message) {
        Print(stderr, "tavrin render: {}\n", message);
        if (options.json) PrintJson(JsonFailure("render", message, 2));
        return 2;
    };
    try {
        // Signals are taken from the start: one that arrives while the document loads stops the
        // run before any frame, with the same exit code and JSON as one during the frames.
        const InterruptionScope interruption;
        // What the options can refuse is refused before the document is read.
        const PF_RationalScale scale = ParseScale(options.scale);
        const std::string defaultExt = options.bitDepth == 32 ? ".exr" : ".png";
        const bool movie =
            standalone::ChooseOutputFormat(
                options.output.empty() ? "frame" + defaultExt : options.output, options.bitDepth)
                .movie != nullptr;
        // A movie's name is taken as it stands: it names one file, not frames.
        if (const std::string problem = standalone::FramePatternProblem(options.output);
            !problem.empty() && !movie)
            throw std::runtime_error("-o \"" + options.output + "\": " + problem);
        const std::string ffmpeg = movie ? MovieChecks(options) : std::string();
        standalone::Comp probe;
        ApplyBackground(options.background, probe);
        const ShardMode mode = ParseShardMode(options.shardMode);
        const std::optional<Shard> shard = ChooseShard(options);
        const std::unique_ptr<std::FILE, CloseFile> log(
            options.logFile.empty() ? nullptr : OpenLog(options.logFile));
        standalone::EmbeddedHost host;
        // The effects' diagnostics never mix with the summary or the JSON on standard output.
        host.setDiagnosticStream(log ? log.get() : options.verbose ? stderr : nullptr);
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
        // What validate warns about is said before drawing: features dropped, frames left empty.
        for (const std::string& w : standalone::DrawNothingWarnings(
                 host, options.document.empty() ? "the bundled example" : options.document))
            say("warning: " + w);
        standalone::Comp& comp = *chosen;
        ApplyBackground(options.background, comp);
        host.setDownsample(scale);
        if (host.downsampled(comp.width) < 1 || host.downsampled(comp.height) < 1)
            throw std::runtime_error(
                fmt::format("--scale \"{}\": the {}x{} comp would have no "
                            "pixels left; give a larger scale",
                            options.scale, comp.width, comp.height));
        // Refused before anything is allocated when a frame would need more than the budget.
        standalone::CheckWorkBudget(host, comp, MemoryLimit(options.memoryLimit));
        const int64_t frameCount = comp.frameCount();
        const auto [workFirst, workLast] = comp.workAreaFrames();
        const FramePlan plan = PlanFrames(
            options.frames == "all" ? fmt::format("{}-{}", workFirst, workLast) : options.frames,
            frameCount, shard, mode);
        for (const std::string& w : plan.warnings) say(w);
        if (shard)
            say(fmt::format("shard {}/{} ({}): {} of the {} selected frames", shard->index,
                            shard->count, ShardModeName(mode), plan.mine.size(),
                            plan.selected.size()));
        if (movie && plan.mine.empty())
            throw std::runtime_error("-o \"" + options.output +
                                     "\": no frames are selected for the movie");
        const std::string pattern =
            options.output.empty()
                ? "tavrin-out/" + PatternFreeName(comp.name) + "_####" + defaultExt
                : options.output;
        const standalone::OutputFormat format =
            standalone::ChooseOutputFormat(pattern, options.bitDepth);
        // The files' colour space, resolved before drawing so that an unknown name draws nothing.
        // Movies hold sRGB as their tags say; frames the space asked for.
        const standalone::FrameColor color{comp.workingSpace,
                                           movie ? std::string("sRGB") : options.colorSpace};
        const std::string fileSpace = standalone::FileColorSpace(format, color);
        const int32_t frameWidth = host.downsampled(comp.width);
        const int32_t frameHeight = host.downsampled(comp.height);
        // File names follow the whole selection, so every shard names its frames alike.
        const bool numbered = plan.selected.size() > 1 && !movie;

        // Which effects of the comp cannot contribute yet: said plainly, never faked.
        std::set<std::string> unbuilt;
        for (const auto& layer : comp.layers)
            for (const auto& instance : layer->effects) {
                const auto* installed = host.installedEffect(instance->key);
                const EffectInfo* info = FindEffectByMatchName(installed->matchName);
                if (info && !info->built) unbuilt.insert(info->displayName);
            }
        for (const std::string& name : unbuilt)
            say(fmt::format("note: \"{}\" is not built yet and adds nothing to the frame", name));

        // A movie's frames are drawn in a private folder beside it, where ffmpeg then writes it.
        if (movie) standalone::RemoveStaleTemporaries(pattern);
        const std::unique_ptr<standalone::PrivateFolderBeside> movieFolder(
            movie ? new standalone::PrivateFolderBeside(pattern, "cannot write the movie ")
                  : nullptr);
        std::vector<FrameRecord> records(plan.mine.size());
        std::vector<size_t> todo;
        for (size_t i = 0; i < plan.mine.size(); ++i) {
            records[i].frame = plan.mine[i];
            records[i].file = movie ? standalone::MovieFramePath(movieFolder->path(), i)
                                    : standalone::FramePath(pattern, plan.mine[i], numbered);
            if (options.skipExisting && FrameIsFinished(records[i].file) &&
                !(DrawnByFallback(records[i].file) && gl::ContextUnavailableReason().empty()))
                records[i].status = "skipped";
            else
                todo.push_back(i);
        }
        if (todo.size() < records.size())
            say(fmt::format("--skip-existing: {} of {} frames are finished and skipped",
                            records.size() - todo.size(), records.size()));
        std::vector<std::string> files;
        files.reserve(records.size());
        for (const FrameRecord& r : records) files.push_back(r.file);
        const size_t stale = standalone::RemoveStaleTemporaries(files);
        if (stale)
            say(fmt::format("removed {} temporary file{} left by an interrupted render", stale,
                            stale == 1 ? "" : "s"));

        tbb::global_control threads(
            tbb::global_control::max_allowed_parallelism,
            options.threads > 0 ? size_t(options.threads) : tbb::info::default_concurrency());
        standalone::CompRenderer renderer(host);
        const bool tty = isatty(fileno(stderr)) && !options.quiet;
        std::atomic<size_t> done{0};
        std::mutex printMutex;
        if (const int signal = InterruptingSignal()) {
            const int code = InterruptedExitCode(signal);
            const std::string message =
                fmt::format("interrupted by {} before the first frame; nothing was drawn",
                            signal == SIGINT ? "SIGINT" : "SIGTERM");
            Print(stderr, "tavrin render: {}\n", message);
            if (options.json) PrintJson(JsonFailure("render", message, code));
            return code;
        }
        const auto start = std::chrono::steady_clock::now();
        tbb::parallel_for(size_t(0), todo.size(), [&](size_t t) {
            FrameRecord& record = records[todo[t]];
            if (InterruptingSignal()) {
                record.status = "interrupted";
                return;
            }
            const auto frameStart = std::chrono::steady_clock::now();
            try {
                const auto image =
                    renderer.renderFrame(comp, record.frame, format.renderDepth(), record.messages);
                const std::string fallback = FallbackReason(host);
                if (!fallback.empty() && options.requireGl)
                    throw std::runtime_error("the GL path was asked for and could not run (" +
                                             fallback + "); nothing written (--require-gl)");
                if (movie) {
                    standalone::WriteImage(record.file, image, standalone::MovieFrameFormat(format),
                                           comp.background, color);
                } else {
                    standalone::WriteImage(record.file, image, format.bitDepth, comp.background,
                                           color);
                    MarkFallback(record.file, fallback);
                }
                record.fallback = !fallback.empty();
                record.status = "rendered";
            } catch (const std::exception& e) {
                record.status = "failed";
                record.error = e.what();
            } catch (const HostErrorCode& e) {
                record.status = "failed";
                record.error = fmt::format("an effect failed with host error code {}", e.code);
            }
            const auto now = std::chrono::steady_clock::now();
            record.seconds = std::chrono::duration<double>(now - frameStart).count();
            if (record.status != "rendered") return;
            const size_t n = ++done;
            const double secs = std::chrono::duration<double>(now - start).count();
            std::lock_guard lock(printMutex);
            if (options.quiet) return;
            for (const auto& m : record.messages) Print(stderr, "frame {}: {}\n", record.frame, m);
            const double rate = n / std::max(secs, 1e-9);
            if (tty)
                Print(stderr, "\r[{:>4}/{}] {:.1f} frames/s, {:.0f} s left   ", n, todo.size(),
                      rate, (todo.size() - n) / rate);
            else if (movie)
                Print(stderr, "drew frame {} of the movie ({}/{})\n", record.frame, n, todo.size());
            else
                Print(stderr, "wrote {} ({}/{})\n", record.file, n, todo.size());
        });
        if (tty && !todo.empty()) Print(stderr, "\n");
        const double secs =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        for (const std::string& line : RenderNoteLines(host)) say(line);
        size_t failed = 0, interrupted = 0;
        for (const FrameRecord& r : records) {
            interrupted += r.status == "interrupted";
            if (r.status == "failed") {
                ++failed;
                Print(stderr, "tavrin render: frame {}: {}\n", r.frame, r.error);
            }
        }
        std::string movieError;
        if (movie && !failed && !interrupted && !InterruptingSignal()) {
            if (!options.quiet)
                Print(stderr, "encoding {} ({}, {} frames)\n", pattern, format.movie->codec,
                      records.size());
            try {
                const std::string inner = movieFolder->path() + "/movie" + format.movie->extension;
                standalone::EncodeMovie(ffmpeg, *format.movie, movieFolder->path(), comp.fpsNum,
                                        comp.fpsDen, inner);
                movieFolder->publish(inner);
                for (FrameRecord& r : records) r.file = pattern;
            } catch (const std::exception& e) {
                movieError = e.what();
                Print(stderr, "tavrin render: {}\n", movieError);
            }
        } else if (movie && failed) {
            movieError = "the movie was not written: a frame failed";
            Print(stderr, "tavrin render: {}\n", movieError);
        }
        const int signal = InterruptingSignal();
        if (signal)
            say(fmt::format(
                "interrupted by {}: the frames in flight were finished; {} frame{} "
                "not drawn (render again with --skip-existing to finish)",
                signal == SIGINT ? "SIGINT" : "SIGTERM", interrupted, interrupted == 1 ? "" : "s"));
        const int code = signal                          ? InterruptedExitCode(signal)
                         : failed || !movieError.empty() ? 1
                                                         : 0;
        const size_t skipped = records.size() - todo.size();
        if (!options.quiet)
            Print(
                human, "rendered {} of {} frames{} of \"{}\" ({}x{}{}, {} {}, {}) in {:.2f} s{}\n",
                done.load(), records.size(),
                skipped ? fmt::format(" ({} finished before)", skipped) : std::string(), comp.name,
                frameWidth, frameHeight,
                int64_t(scale.num) == int64_t(scale.den)
                    ? std::string()
                    : fmt::format(" at {}/{}", scale.num, scale.den),
                format.name, standalone::DescribeDepth(format), fileSpace, secs,
                records.empty() || (movie && code != 0) ? std::string()
                : movie ? fmt::format(" to {} ({})", pattern, format.movie->codec)
                        : " to " + standalone::FramePath(pattern, records.front().frame, numbered));
        if (options.json) {
            const double secondsPerFrame = double(comp.fpsDen) / double(std::max(comp.fpsNum, 1));
            Json frames = Json::array();
            for (const FrameRecord& r : records) frames.push_back(RecordJson(r, secondsPerFrame));
            PrintJson(
                {{"command", "render"},
                 {"ok", code == 0},
                 {"document", options.document.empty() ? Json(nullptr) : Json(options.document)},
                 {"comp", comp.name},
                 {"width", frameWidth},
                 {"height", frameHeight},
                 {"fps", 1.0 / secondsPerFrame},
                 {"bitDepth", format.bitDepth},
                 {"format", format.name},
                 {"movie",
                  movie ? Json{{"file", pattern},
                               {"codec", format.movie->codec},
                               {"written", code == 0},
                               {"error", movieError.empty() ? Json(nullptr) : Json(movieError)}}
                        : Json(nullptr)},
                 {"sample", standalone::SampleName(format)},
                 {"colorSpace", fileSpace},
                 {"scale", double(scale.num) / double(scale.den)},
                 {"pattern", pattern},
                 {"selected", plan.selected.size()},
                 {"shard", shard ? Json{{"index", shard->index},
                                        {"count", shard->count},
                                        {"mode", ShardModeName(mode)}}
                                 : Json(nullptr)},
                 {"frames", frames},
                 {"rendered", done.load()},
                 {"skipped", skipped},
                 {"failed", failed},
                 {"interrupted", interrupted},
                 {"seconds", secs},
                 {"messages", runMessages},
                 {"exitCode", code}});
        }
        return code;
    } catch (const std::exception& e) {
        return fail(e.what());
    } catch (const HostErrorCode& e) {
        return fail(fmt::format("the host failed with code {}", e.code));
    }
}

}  // namespace tv::cli
