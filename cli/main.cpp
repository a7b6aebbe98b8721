// tavrin: the command-line renderer of composition documents.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "cli/EffectsCommand.h"
#include "cli/ExportSvgCommand.h"
#include "cli/GeometryCommand.h"
#include "cli/InfoCommand.h"
#include "cli/RenderCommand.h"
#include "cli/SaveCommand.h"
#include "cli/StudioCommand.h"
#include "cli/Print.h"
#include "cli/ValidateCommand.h"
#include "cli/VersionText.h"
#include "cli/farm/CommandLineText.h"
#include "host/HostTypes.h"
#include "standalone/MemoryPolicy.h"

namespace {

// Refuses control characters in a path or name: a newline would split the answer handed to an
// effect's dialog, an escape sequence would reach the terminal in messages.
const CLI::Validator kPlainText(
    [](std::string& text) { return tv::cli::ControlCharacterProblem(text); }, "", "PlainText");

// Every option and argument that names a file or something in a document.
void RefuseControlCharacters(CLI::App& app) {
    static const char* const kTextOptions[] = {"document", "--output", "--comp",
                                               "--layer",  "name",     "--log"};
    for (const char* name : kTextOptions) {
        try {
            app.get_option(name)->check(kPlainText);
        } catch (const CLI::OptionNotFound&) {
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    tv::standalone::KeepFreedMemoryForReuse();
    CLI::App app{"tavrin: 3D particle and network graphics from composition documents"};
    app.require_subcommand(0, 1);
    app.footer(
        "Exit codes: 0 done; 1 a frame failed (render); 2 bad input (an option, a document, a "
        "file that cannot be read or written); 130 stopped by SIGINT, 143 by SIGTERM.");
    bool version = false;
    app.add_flag("--version", version,
                 "print the version, the commit built, the GL renderer and the libraries");

    std::string effectName;
    auto* effects = app.add_subcommand("effects", "List the effects, or one effect's parameters");
    effects->add_option("name", effectName, "display name or match name of one effect");
    bool effectsJson = false;
    effects->add_flag("--json", effectsJson, "print the list or the table as one JSON document");

    auto* render = app.add_subcommand("render", "Render a composition document to image files");
    tv::cli::RenderOptions renderOptions;
    render->add_option("document", renderOptions.document,
                       "the composition document (JSON); none renders the bundled example");
    render->add_option("-o,--output", renderOptions.output,
                       "output file pattern; each run of #, %04d (or %d) or $F4 (or $F) becomes "
                       "the frame number, one style a pattern; .mp4, .mov, .webm or .gif: one "
                       "movie through ffmpeg");
    render->add_option("--comp", renderOptions.comp, "the comp to render");
    render->add_option("--frames", renderOptions.frames,
                       "frames to render, from 0: 7, 1-100, 1-100:5 (a step), a list such as "
                       "1-3,5,7-20:2, or all (the comp's work area, else the whole comp); frames "
                       "past the comp's end are left out with a warning");
    render->add_option("--bit-depth", renderOptions.bitDepth,
                       "bits per channel in the files: 8 or 16 for PNG, 16 (half) or 32 (float) "
                       "for EXR, 8, 16 or 32 for TIFF, 8 for JPEG; default the format's own (8, "
                       "EXR 32)");
    render->add_option("--colorspace", renderOptions.colorSpace,
                       "the colour space the files hold, a name or role of the colour "
                       "configuration (OCIO names one; else linear, sRGB, Rec709); default "
                       "scene_linear for EXR and 32-bit TIFF, the comp's working space for "
                       "the others");
    render->add_option("--background", renderOptions.background,
                       "under the layers: transparent, opaque (the comp's colour), #rrggbb "
                       "(opaque) or #rrggbbaa; default the document's (transparent unless its "
                       "background gives alpha)");
    render->add_option("--scale", renderOptions.scale,
                       "draw at a preview resolution, as a host's downsample: 1/2, 1/3, 1/4 or a "
                       "number above 0 and at most 1");
    render
        ->add_option("--threads", renderOptions.threads,
                     "threads to use, 1 to 1024; 0 means all cores")
        ->check(CLI::Range(0, 1024));
    auto* verbose = render->add_flag("-v,--verbose", renderOptions.verbose,
                                     "print the effects' diagnostic lines on standard error");
    auto* quiet = render->add_flag("-q,--quiet", renderOptions.quiet,
                                   "print errors only: no notes, warnings, progress or summary");
    quiet->excludes(verbose);
    render->add_option("--log", renderOptions.logFile,
                       "write the effects' diagnostic lines to this file (made anew)");
    render
        ->add_option("--unified", renderOptions.unified,
                     "on: draw through the GL path (depth of field, motion blur, facets); off: "
                     "the software path; overrides \"Unified Rendering\" for this run")
        ->check(CLI::IsMember({"on", "off"}));
    render->add_option("--shard", renderOptions.shard,
                       "I/N: render shard I (counted from 0) of N shards of the frames");
    render->add_flag("--shard-from-env", renderOptions.shardFromEnv,
                     "take the shard from a Slurm array task (SLURM_ARRAY_TASK_ID, _MIN, _MAX, "
                     "_STEP, _COUNT) or a Kubernetes Indexed Job (JOB_COMPLETION_INDEX with "
                     "--shard-count)");
    render->add_option("--shard-count", renderOptions.shardCount,
                       "with --shard-from-env: the number of shards (a Kubernetes Job's "
                       "completions)");
    render->add_option("--shard-mode", renderOptions.shardMode,
                       "interleaved (default): shard I takes every N-th frame from the I-th; "
                       "contiguous: shard I takes one run of neighbouring frames");
    render->add_flag("--skip-existing", renderOptions.skipExisting,
                     "leave frames whose files are already written; a re-queued task resumes");
    render->add_flag("--require-gl", renderOptions.requireGl,
                     "fail a frame (exit code 1) that asks for the GL path where it cannot run, "
                     "rather than draw it in software");
    render->add_flag("--json", renderOptions.json,
                     "print one JSON document with a record per frame on standard output; human "
                     "lines go to standard error");
    const char* memoryHelp =
        "the most one frame may need, such as 8g or 512m; a document beyond it is refused "
        "before drawing (default: three quarters of the machine's memory)";
    render->add_option("--memory-limit", renderOptions.memoryLimit, memoryHelp);

    std::string checkDocument, infoDocument;
    auto* validate =
        app.add_subcommand("validate", "Check a composition document and report the first error");
    validate->add_option("document", checkDocument, "the composition document (JSON)")->required();
    bool validateJson = false;
    validate->add_flag("--json", validateJson, "print the result as one JSON document");
    std::string validateMemoryLimit;
    validate->add_option("--memory-limit", validateMemoryLimit, memoryHelp);
    bool strict = false;
    validate->add_flag("--strict", strict,
                       "make warnings (setups that draw nothing) errors: exit code 2");
    auto* info =
        app.add_subcommand("info", "Show a document's comps, layers, effects and parameter values");
    info->add_option("document", infoDocument, "the composition document (JSON)")->required();
    bool infoJson = false;
    info->add_flag("--json", infoJson, "print the comps, layers, effects and values as JSON");
    std::string saveDocument, saveOutput;
    auto* save = app.add_subcommand("save", "Load a document and write it back as tavrin does");
    save->add_option("document", saveDocument, "the composition document (JSON)")->required();
    save->add_option("-o,--output", saveOutput, "the document to write")->required();

    tv::cli::GeometryOptions geometryOptions;
    auto* geometry =
        app.add_subcommand("geometry", "Write one frame's gathered geometry of a layer");
    geometry->add_option("document", geometryOptions.document, "the composition document (JSON)")
        ->required();
    geometry->add_option("--comp", geometryOptions.comp, "the comp (default: the first)");
    geometry->add_option("--layer", geometryOptions.layer,
                         "the layer (default: the first with effects)");
    geometry->add_option("--frame", geometryOptions.frame, "the frame (default 0)");
    geometry->add_option("--format", geometryOptions.format, "json, ply or csv (default json)");
    geometry->add_option("-o,--output", geometryOptions.output,
                         "the file (default: standard output)");

    tv::cli::ExportSvgOptions svgOptions;
    auto* exportSvg =
        app.add_subcommand("export-svg", "Write a frame or an animated sequence as an SVG file");
    exportSvg->add_option("document", svgOptions.document, "the composition document (JSON)")
        ->required();
    exportSvg->add_option("-o,--output", svgOptions.output, "the SVG file to write")->required();
    exportSvg->add_option("--comp", svgOptions.comp, "the comp (default: the first)");
    exportSvg->add_option("--layer", svgOptions.layer,
                          "the layer whose \"Tavrin\" effect exports (default: the first "
                          "carrying it)");
    auto* frameOption = exportSvg->add_option("--frame", svgOptions.frame, "the frame (default 0)");
    auto* sequenceFlag = exportSvg->add_flag("--sequence", svgOptions.sequence,
                                             "every frame of the range as one animated file");
    frameOption->excludes(sequenceFlag);
    exportSvg->add_option("--range", svgOptions.range, "comp (default) or work: the work area")
        ->check(CLI::IsMember({"comp", "work"}));
    exportSvg
        ->add_option("--fps", svgOptions.fps,
                     "frames per second of the sequence, a whole number (default: the comp's)")
        ->check(CLI::Range(1, 1000));

    tv::cli::StudioCommandOptions studioOptions;
    auto* studio = app.add_subcommand(
        "studio",
        "Open a document in the studio: effect controls, viewer and timeline in the "
        "browser, served on 127.0.0.1");
    studio->add_option("document", studioOptions.document,
                       "the composition document (JSON); a file that does not exist yet is "
                       "made there on saving; none starts from an empty comp");
    studio->add_option("--port", studioOptions.port, "the port (default: any free one)")
        ->check(CLI::Range(0, 65535));
    studio->add_flag("--open", studioOptions.open, "open the address in the desktop's browser");
    studio->add_option("--allow-dir", studioOptions.allowDirs,
                       "a folder the studio may also read and write besides the document's "
                       "(repeatable)");

    for (CLI::App* command : app.get_subcommands({})) RefuseControlCharacters(*command);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);  // --help
        // A usage error is the caller's mistake, not a failed render: one line and exit code 2,
        // as every other refusal, so a farm does not retry it.
        tv::cli::Print(stderr, "tavrin: {} (run 'tavrin --help' or 'tavrin COMMAND --help')\n",
                       e.what());
        return 2;
    }

    if (version) {
        std::fputs(tv::cli::VersionText().c_str(), stdout);
        return 0;
    }
    // Each command reports its own errors; what escapes one (an effect's host error code, an
    // exception from a library) still ends in one line and exit code 1, never an abort.
    const auto run = [&]() -> int {
        if (exportSvg->parsed()) return tv::cli::RunExportSvgCommand(svgOptions);

        if (geometry->parsed()) return tv::cli::RunGeometryCommand(geometryOptions);

        if (validate->parsed())
            return tv::cli::RunValidateCommand(checkDocument, validateJson, validateMemoryLimit,
                                               strict);
        if (info->parsed()) return tv::cli::RunInfoCommand(infoDocument, infoJson);
        if (save->parsed()) return tv::cli::RunSaveCommand(saveDocument, saveOutput);

        if (studio->parsed()) return tv::cli::RunStudioCommand(studioOptions);

        if (effects->parsed()) return tv::cli::RunEffectsCommand(effectName, effectsJson);
        if (render->parsed()) return tv::cli::RunRenderCommand(renderOptions);
        if (app.get_subcommands().empty()) {
            std::printf("%s", app.help().c_str());
            return 0;
        }
        return 0;
    };
    try {
        return run();
    } catch (const tv::HostErrorCode& e) {
        tv::cli::Print(stderr, "tavrin: an effect failed with host error code {}\n", e.code);
    } catch (const std::exception& e) {
        tv::cli::Print(stderr, "tavrin: {}\n", e.what());
    }
    return 1;
}
