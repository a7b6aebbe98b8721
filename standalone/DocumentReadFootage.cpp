// The bodies of the layers that show something of their own or of a file: solids, nulls,
// images, OBJ meshes (one file or a numbered sequence), audio, text and precomps.
#include <filesystem>

#include "standalone/ImageModule.h"
#include "standalone/Audio.h"
#include "standalone/DocumentRead.h"
#include "standalone/TextOutlines.h"

namespace tv::standalone::docread {

namespace {

// "mesh_###.obj" with first and last numbers: each # is a digit, zero-padded.
void ReadObjSequence(const Reader& r, const json& body, const std::string& kpath, Layer& layer) {
    const std::string pattern = r.text(body["sequence"], kpath + ".sequence");
    const auto a = pattern.find('#');
    if (a == std::string::npos)
        r.fail(kpath + ".sequence",
               "a sequence pattern marks the frame number with #, e.g. \"mesh_###.obj\"");
    const auto b = pattern.find_first_not_of('#', a);
    const size_t digits = (b == std::string::npos ? pattern.size() : b) - a;
    if (!body.contains("first") || !body.contains("last"))
        r.fail(kpath,
               "a sequence needs \"first\" and \"last\": the numbers of its first and "
               "last files");
    layer.objFirst = r.integer(body["first"], kpath + ".first", 0, 1e8);
    layer.objLast = r.integer(body["last"], kpath + ".last", layer.objFirst, 1e8);
    layer.objPattern = std::filesystem::absolute(r.base / pattern).lexically_normal().string();
    for (int32_t n = layer.objFirst; n <= layer.objLast; ++n) {
        std::string number = std::to_string(n);
        if (number.size() < digits) number.insert(0, digits - number.size(), '0');
        const std::string name = pattern.substr(0, a) + number + pattern.substr(a + digits);
        const std::filesystem::path file = r.base / name;
        std::error_code ec;
        if (!std::filesystem::is_regular_file(file, ec))
            r.fail(kpath + ".sequence", "no such file in the sequence: " + file.string());
        layer.objFiles.push_back(file.string());
    }
}

}  // namespace

void ReadSolidBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp&) {
    r.checkKeys(body, kpath, {"color", "width", "height"});
    if (body.contains("color")) r.color(body["color"], kpath + ".color", layer.solidColor);
    if (body.contains("width")) layer.width = r.integer(body["width"], kpath + ".width", 1, 30000);
    if (body.contains("height"))
        layer.height = r.integer(body["height"], kpath + ".height", 1, 30000);
}

void ReadNullBody(const Reader& r, const json& body, const std::string& kpath, Layer&,
                  const Comp&) {
    r.checkKeys(body, kpath, {});
}

void ReadImageBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp&) {
    r.checkKeys(body, kpath, {"file"});
    if (!body.contains("file")) r.fail(kpath, "missing \"file\": the image to show");
    layer.imagePath = ExistingFile(r, body["file"], kpath + ".file");
    layer.sourceFile = layer.imagePath;
    // Images up to this many values are decoded now, so that a damaged file is an error of the
    // document instead of a failure of every frame; larger ones are checked by their header.
    constexpr double kDecodedAtLoad = 64.0 * 1024 * 1024;
    try {
        const ImageHeader header = ReadImageHeader(layer.imagePath);
        CheckImageSize(layer.imagePath, header);
        layer.imageWidth = header.width;
        layer.imageHeight = header.height;
        layer.imageChannels = header.channels;
        if (double(header.width) * header.height * header.channels <= kDecodedAtLoad &&
            !ReadImageBytes(layer.imagePath).complete)
            throw std::runtime_error("the image " + layer.imagePath +
                                     " is damaged: its pixels do not all read");
    } catch (const DocumentError&) {
        throw;
    } catch (const std::runtime_error& e) {
        r.fail(kpath + ".file", e.what());
    }
}

void ReadObjBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                 const Comp&) {
    r.checkKeys(body, kpath, {"file", "files", "sequence", "first", "last"});
    if (int(body.contains("file")) + int(body.contains("files")) + int(body.contains("sequence")) !=
        1)
        r.fail(kpath,
               "an OBJ layer needs one of \"file\" (one mesh), \"files\" (a list of meshes, one "
               "per frame) or \"sequence\" (numbered meshes, one per frame)");
    if (body.contains("files")) {
        // What the "Import OBJ" dialog's "OBJ File Sequence" brings in: the folder's meshes in
        // their order, whatever their names.
        const json& files = body["files"];
        if (!files.is_array() || files.empty())
            r.fail(kpath + ".files", "expected a list of one or more OBJ files");
        for (const char* key : {"first", "last"})
            if (body.contains(key))
                r.fail(kpath + "." + key, std::string("\"") + key + "\" belongs to a sequence");
        for (size_t i = 0; i < files.size(); ++i)
            layer.objFiles.push_back(
                ExistingFile(r, files[i], kpath + ".files[" + std::to_string(i) + "]"));
        layer.sourceFile = layer.objFiles.front();
    } else if (body.contains("file")) {
        for (const char* key : {"first", "last"})
            if (body.contains(key))
                r.fail(kpath + "." + key, std::string("\"") + key + "\" belongs to a sequence");
        layer.objFiles.push_back(ExistingFile(r, body["file"], kpath + ".file"));
        layer.sourceFile = layer.objFiles.back();
    } else {
        ReadObjSequence(r, body, kpath, layer);
    }
}

// The file is read through libsndfile, which knows WAV, FLAC, OGG and the rest.
void ReadAudioBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp&) {
    r.checkKeys(body, kpath, {"file"});
    if (!body.contains("file"))
        r.fail(kpath, "missing \"file\": the audio file to play (WAV, FLAC, OGG, ...)");
    const std::string file = ExistingFile(r, body["file"], kpath + ".file");
    layer.sourceFile = file;
    AudioHeader header;
    if (const std::string why = CheckAudioFile(file, &header); !why.empty())
        r.fail(kpath + ".file", "cannot read audio from " + file + ": " + why);
    layer.audioFrames = header.frames;
    layer.audioChannels = header.channels;
    layer.audioRate = header.rate;
}

void ReadTextBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                  const Comp&) {
    r.checkKeys(body, kpath, {"text", "font", "family", "size", "color"});
    if (!body.contains("text")) r.fail(kpath, "missing \"text\": the string to show");
    layer.text = r.text(body["text"], kpath + ".text");
    // A text layer whose text is gone is no layer at all: nothing to draw or outline.
    if (layer.text.empty())
        r.fail(kpath + ".text", "an empty text; a text layer needs at least one character to show");
    if (body.contains("font") && body.contains("family"))
        r.fail(kpath + ".family", "give a font \"file\" or a \"family\", not both");
    if (body.contains("font")) {
        layer.sourceFile = ExistingFile(r, body["font"], kpath + ".font");
    }
    if (body.contains("family")) layer.fontFamily = r.text(body["family"], kpath + ".family");
    if (body.contains("size")) layer.fontSize = r.number(body["size"], kpath + ".size", 1, 3000);
    if (body.contains("color")) r.color(body["color"], kpath + ".color", layer.textColor);
    std::string why;
    const std::string font = ResolveFontFile(
        TextStyle{layer.text, layer.sourceFile, layer.fontFamily, layer.fontSize}, why);
    if (!font.empty()) why = CheckFontFile(font);
    if (!why.empty()) r.fail(kpath + (body.contains("family") ? ".family" : ".font"), why);
}

// The comp it shows is found by name once every comp is read.
void ReadPrecompBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                     const Comp&) {
    r.checkKeys(body, kpath, {"comp"});
    if (!body.contains("comp")) r.fail(kpath, "missing \"comp\": the name of the comp to show");
    r.precomps.push_back({&layer, r.text(body["comp"], kpath + ".comp"), kpath + ".comp"});
}

}  // namespace tv::standalone::docread
