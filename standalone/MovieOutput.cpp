#include "standalone/MovieOutput.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

extern char** environ;

namespace tv::standalone {

namespace fs = std::filesystem;

namespace {

constexpr MovieCodec kCodecs[] = {
    {".mp4", "MP4", "H.264", false, false},
    {".mov", "MOV", "ProRes 4444", true, true},
    {".webm", "WebM", "VP9", true, false},
    {".gif", "GIF", "GIF", true, false},
};

// RGB to Y'CbCr with the HD matrix at full precision, the file tagged to match (sRGB transfer),
// so that players turn it back into the colours of the PNG frames.
constexpr const char* kToVideo =
    "scale=out_color_matrix=bt709:out_range=tv:"
    "flags=accurate_rnd+full_chroma_int+bitexact";
// The tags go on the frames themselves: every encoder and container then writes them (ProRes in
// a .mov ignores the encoder options alone).
constexpr const char* kVideoTags =
    "setparams=color_primaries=bt709:color_trc=iec61966-2-1:colorspace=bt709:range=tv";

bool IsExecutable(const fs::path& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

// The last lines of ffmpeg's log, for an error message.
std::string LogTail(const std::string& logPath) {
    std::ifstream in(logPath);
    std::string line, tail;
    std::vector<std::string> lines;
    while (std::getline(in, line))
        if (!line.empty()) lines.push_back(line);
    const size_t first = lines.size() > 4 ? lines.size() - 4 : 0;
    for (size_t i = first; i < lines.size(); ++i) tail += (tail.empty() ? "" : "; ") + lines[i];
    return tail.size() > 600 ? tail.substr(tail.size() - 600) : tail;
}

}  // namespace

const MovieCodec* FindMovieCodec(const std::string& path) {
    std::string ext = fs::path(path).extension().string();
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    for (const MovieCodec& codec : kCodecs)
        if (ext == codec.extension) return &codec;
    return nullptr;
}

const char* MovieExtensions() {
    return ".mp4, .mov, .webm or .gif";
}

std::string FindFfmpeg(const std::string& moviePath) {
    if (const char* named = std::getenv("TAVRIN_FFMPEG"); named && *named) {
        if (IsExecutable(named)) return named;
        throw std::runtime_error(fmt::format(
            "-o \"{}\": TAVRIN_FFMPEG names \"{}\", which is not a program that can be run; "
            "point it at ffmpeg or unset it",
            moviePath, named));
    }
    const char* path = std::getenv("PATH");
    std::stringstream folders(path ? path : "");
    std::string folder;
    while (std::getline(folders, folder, ':')) {
        const fs::path candidate = fs::path(folder.empty() ? "." : folder) / "ffmpeg";
        if (IsExecutable(candidate)) return candidate.string();
    }
    throw std::runtime_error(fmt::format(
        "-o \"{}\": a movie is encoded by the ffmpeg program, which is not on PATH; install it "
        "(Debian: apt install ffmpeg), name it with TAVRIN_FFMPEG, or write frames instead "
        "(-o shot_####.png)",
        moviePath));
}

std::string MovieFramePath(const std::string& folder, size_t index) {
    return fmt::format("{}/frame_{:06d}.png", folder, index);
}

std::vector<std::string> FfmpegArguments(const MovieCodec& codec, const std::string& folder,
                                         int32_t fpsNum, int32_t fpsDen,
                                         const std::string& output) {
    std::vector<std::string> args = {"-nostdin",
                                     "-hide_banner",
                                     "-loglevel",
                                     "error",
                                     "-y",
                                     "-f",
                                     "image2",
                                     "-framerate",
                                     fmt::format("{}/{}", fpsNum, fpsDen),
                                     "-start_number",
                                     "0",
                                     "-i",
                                     folder + "/frame_%06d.png"};
    auto add = [&args](std::initializer_list<std::string> more) {
        args.insert(args.end(), more.begin(), more.end());
    };
    const std::string ext = codec.extension;
    if (ext == ".mp4") {
        // 4:2:0 needs even sizes: an odd frame gets one more row or column, black.
        add({"-vf",
             fmt::format("pad=ceil(iw/2)*2:ceil(ih/2)*2,{},format=yuv420p,{}", kToVideo,
                         kVideoTags),
             "-c:v", "libx264", "-preset", "medium", "-crf", "16", "-movflags", "+faststart"});
    } else if (ext == ".mov") {
        add({"-vf", fmt::format("{},format=yuva444p10le,{}", kToVideo, kVideoTags), "-c:v",
             "prores_ks", "-profile:v", "4444", "-vendor", "apl0", "-alpha_bits", "16", "-movflags",
             "+write_colr"});
    } else if (ext == ".webm") {
        add({"-vf", fmt::format("{},format=yuva420p,{}", kToVideo, kVideoTags), "-c:v",
             "libvpx-vp9", "-crf", "18", "-b:v", "0", "-row-mt", "1"});
    } else {
        // One palette for the whole movie with a slot kept for transparency; GIF's alpha is on
        // or off, cut at half.
        add({"-filter_complex",
             "split[a][b];[a]palettegen=reserve_transparent=1:stats_mode=full[p];"
             "[b][p]paletteuse=alpha_threshold=128",
             "-loop", "0"});
    }
    args.push_back(output);
    return args;
}

int RunProgram(const std::string& program, const std::vector<std::string>& arguments,
               const std::string& logPath) {
    std::vector<std::string> words;
    words.push_back(program);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, logPath.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = 0;
    const int started = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0)
        throw std::runtime_error(
            fmt::format("cannot start {}: {}", program, std::strerror(started)));
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR)
            throw std::runtime_error(
                fmt::format("lost track of {}: {}", program, std::strerror(errno)));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void EncodeMovie(const std::string& ffmpeg, const MovieCodec& codec, const std::string& folder,
                 int32_t fpsNum, int32_t fpsDen, const std::string& output) {
    const std::string log = folder + "/ffmpeg.log";
    const int status =
        RunProgram(ffmpeg, FfmpegArguments(codec, folder, fpsNum, fpsDen, output), log);
    if (status == 0) return;
    const std::string tail = LogTail(log);
    throw std::runtime_error(
        fmt::format("{} could not encode the {} ({}){}", ffmpeg, codec.container,
                    status > 128 ? fmt::format("ended by signal {}", status - 128)
                                 : fmt::format("exit status {}", status),
                    tail.empty() ? std::string() : ": " + tail));
}

}  // namespace tv::standalone
