#include "standalone/TextOutlines.h"

#include <agg_conv_curve.h>
#include <agg_path_storage.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_scanline_u.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#include <hb-ft.h>
#include <hb.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace tv::standalone {

namespace {

constexpr const char* kDefaultFamily = "DejaVu Sans";

std::string Lower(std::string s) {
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Collects one glyph's contours through FreeType's decomposition, in 26.6 glyph units, y up.
struct OutlineSink {
    std::vector<BezierPath> contours;
    double penX = 0, penY = 0;  // where the glyph's origin lands in the layer
    double lastX = 0, lastY = 0;

    // Glyph units (26.6, y up) to layer pixels (y down).
    double X(FT_Pos x) const { return penX + double(x) / 64.0; }
    double Y(FT_Pos y) const { return penY - double(y) / 64.0; }

    void start(double x, double y) {
        close();
        contours.emplace_back();
        contours.back().closed = true;
        contours.back().vertices.push_back({x, y, 0, 0, 0, 0});
        lastX = x, lastY = y;
    }
    void cubicTo(double c1x, double c1y, double c2x, double c2y, double x, double y) {
        BezierPath& p = contours.back();
        p.vertices.back().outX = c1x - lastX;
        p.vertices.back().outY = c1y - lastY;
        p.vertices.push_back({x, y, c2x - x, c2y - y, 0, 0});
        lastX = x, lastY = y;
    }
    // A contour ends where it began: the closing vertex folds into the first, which takes its
    // in tangent, so the closed path has no zero-length segment.
    void close() {
        if (contours.empty()) return;
        BezierPath& p = contours.back();
        if (p.vertices.size() > 1) {
            const PathVertex& last = p.vertices.back();
            PathVertex& first = p.vertices.front();
            if (std::abs(last.x - first.x) < 1e-9 && std::abs(last.y - first.y) < 1e-9) {
                first.inX = last.inX, first.inY = last.inY;
                p.vertices.pop_back();
            }
        }
    }
};

int MoveTo(const FT_Vector* to, void* user) {
    auto* s = static_cast<OutlineSink*>(user);
    s->start(s->X(to->x), s->Y(to->y));
    return 0;
}
int LineTo(const FT_Vector* to, void* user) {
    auto* s = static_cast<OutlineSink*>(user);
    const double x = s->X(to->x), y = s->Y(to->y);
    s->cubicTo(s->lastX, s->lastY, x, y, x, y);
    return 0;
}
int ConicTo(const FT_Vector* control, const FT_Vector* to, void* user) {
    auto* s = static_cast<OutlineSink*>(user);
    // The quadratic raised to a cubic: controls two thirds of the way to the quadratic's.
    const double qx = s->X(control->x), qy = s->Y(control->y);
    const double x = s->X(to->x), y = s->Y(to->y);
    s->cubicTo(s->lastX + 2.0 / 3.0 * (qx - s->lastX), s->lastY + 2.0 / 3.0 * (qy - s->lastY),
               x + 2.0 / 3.0 * (qx - x), y + 2.0 / 3.0 * (qy - y), x, y);
    return 0;
}
int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user) {
    auto* s = static_cast<OutlineSink*>(user);
    s->cubicTo(s->X(c1->x), s->Y(c1->y), s->X(c2->x), s->Y(c2->y), s->X(to->x), s->Y(to->y));
    return 0;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines(1);
    for (char c : text) {
        if (c == '\n')
            lines.emplace_back();
        else if (c != '\r')
            lines.back() += c;
    }
    return lines;
}

}  // namespace

std::string CheckFontFile(const std::string& file) {
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library)) return "FreeType could not start";
    FT_Face face = nullptr;
    const FT_Error error = FT_New_Face(library, file.c_str(), 0, &face);
    if (face) FT_Done_Face(face);
    FT_Done_FreeType(library);
    if (error || !face) return "cannot read the font " + file + ": not a font file FreeType knows";
    return {};
}

std::string ResolveFontFile(const TextStyle& style, std::string& error) {
    error.clear();
    if (!style.fontFile.empty()) {
        std::error_code ec;
        if (!std::filesystem::is_regular_file(style.fontFile, ec)) {
            error = "the font file " + style.fontFile + " does not exist";
            return {};
        }
        return style.fontFile;
    }
    const std::string family = style.fontFamily.empty() ? kDefaultFamily : style.fontFamily;
    // Fontconfig's set-up is not thread-safe; a lookup is rare, so one at a time.
    static std::mutex lock;
    std::lock_guard<std::mutex> guard(lock);
    if (!FcInit()) {
        error = "fontconfig could not start, so no installed family can be found";
        return {};
    }
    FcPattern* pattern = FcPatternCreate();
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(nullptr, pattern, &result);
    std::string file;
    if (match) {
        FcChar8* found = nullptr;
        FcChar8* foundFamily = nullptr;
        // Fontconfig always offers some font; only the family asked for counts.
        bool sameFamily = false;
        for (int i = 0; FcPatternGetString(match, FC_FAMILY, i, &foundFamily) == FcResultMatch; ++i)
            if (Lower(reinterpret_cast<const char*>(foundFamily)) == Lower(family))
                sameFamily = true;
        if (sameFamily && FcPatternGetString(match, FC_FILE, 0, &found) == FcResultMatch)
            file = reinterpret_cast<const char*>(found);
        FcPatternDestroy(match);
    }
    FcPatternDestroy(pattern);
    if (file.empty())
        error = "no installed font of the family \"" + family +
                "\" (fc-list shows the installed families; \"DejaVu Sans\" comes with the "
                "project's dependencies)";
    return file;
}

std::vector<BezierPath> TextOutlines(const TextStyle& style, int32_t width, int32_t height) {
    std::string error;
    const std::string file = ResolveFontFile(style, error);
    if (file.empty()) throw std::runtime_error(error);
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library)) throw std::runtime_error("FreeType could not start");
    std::unique_ptr<FT_LibraryRec_, decltype(&FT_Done_FreeType)> libraryGuard(library,
                                                                              &FT_Done_FreeType);
    FT_Face face = nullptr;
    if (FT_New_Face(library, file.c_str(), 0, &face) || !face)
        throw std::runtime_error("cannot read the font " + file);
    std::unique_ptr<FT_FaceRec_, decltype(&FT_Done_Face)> faceGuard(face, &FT_Done_Face);
    if (FT_Set_Char_Size(face, 0, FT_F26Dot6(style.size * 64), 72, 72))
        throw std::runtime_error("the font " + file + " has no size " + std::to_string(style.size));
    hb_font_t* font = hb_ft_font_create_referenced(face);
    std::unique_ptr<hb_font_t, decltype(&hb_font_destroy)> fontGuard(font, &hb_font_destroy);

    const FT_Size_Metrics& metrics = face->size->metrics;
    const double ascender = double(metrics.ascender) / 64.0;
    const double descender = double(metrics.descender) / 64.0;  // below the baseline: negative
    const double lineHeight = double(metrics.height) / 64.0;
    const std::vector<std::string> lines = Lines(style.text);
    // The block's first baseline so that the lines' boxes sit centred down the layer.
    const double block = lineHeight * double(lines.size() - 1) + (ascender - descender);
    double baseline = (double(height) - block) / 2 + ascender;

    FT_Outline_Funcs funcs{};
    funcs.move_to = &MoveTo;
    funcs.line_to = &LineTo;
    funcs.conic_to = &ConicTo;
    funcs.cubic_to = &CubicTo;
    OutlineSink sink;
    for (const std::string& line : lines) {
        hb_buffer_t* buffer = hb_buffer_create();
        std::unique_ptr<hb_buffer_t, decltype(&hb_buffer_destroy)> bufferGuard(buffer,
                                                                               &hb_buffer_destroy);
        hb_buffer_add_utf8(buffer, line.c_str(), int(line.size()), 0, int(line.size()));
        hb_buffer_guess_segment_properties(buffer);
        hb_shape(font, buffer, nullptr, 0);
        unsigned count = 0;
        const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buffer, &count);
        const hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(buffer, &count);
        double advance = 0;
        for (unsigned i = 0; i < count; ++i) advance += double(pos[i].x_advance) / 64.0;
        double penX = (double(width) - advance) / 2;
        for (unsigned i = 0; i < count; ++i) {
            if (!FT_Load_Glyph(face, info[i].codepoint, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP) &&
                face->glyph->format == FT_GLYPH_FORMAT_OUTLINE) {
                sink.penX = penX + double(pos[i].x_offset) / 64.0;
                sink.penY = baseline - double(pos[i].y_offset) / 64.0;
                FT_Outline_Decompose(&face->glyph->outline, &funcs, &sink);
                sink.close();
            }
            penX += double(pos[i].x_advance) / 64.0;
        }
        baseline += lineHeight;
    }
    // Drop contours too small to be a shape (a lone move).
    std::erase_if(sink.contours, [](const BezierPath& p) { return p.vertices.size() < 2; });
    return sink.contours;
}

std::vector<float> FillCoverage(const std::vector<BezierPath>& paths, int32_t width,
                                int32_t height) {
    std::vector<float> coverage(size_t(std::max(width, 0)) * size_t(std::max(height, 0)), 0.0f);
    if (width <= 0 || height <= 0) return coverage;
    agg::path_storage storage;
    for (const BezierPath& p : paths) {
        const int32_t segments = PathSegmentCount(p);
        if (segments == 0) continue;
        storage.move_to(p.vertices[0].x, p.vertices[0].y);
        for (int32_t s = 0; s < segments; ++s) {
            const auto c = SegmentControls(p, s);
            storage.curve4(c[2], c[3], c[4], c[5], c[6], c[7]);
        }
        storage.close_polygon();
    }
    agg::conv_curve<agg::path_storage> curves(storage);
    agg::rasterizer_scanline_aa<> raster;
    raster.filling_rule(agg::fill_non_zero);
    raster.clip_box(0, 0, width, height);
    raster.add_path(curves);
    if (!raster.rewind_scanlines()) return coverage;
    agg::scanline_u8 line;
    line.reset(raster.min_x(), raster.max_x());
    while (raster.sweep_scanline(line)) {
        const int y = line.y();
        if (y < 0 || y >= height) continue;
        auto span = line.begin();
        for (unsigned n = line.num_spans(); n > 0; --n, ++span) {
            for (int k = 0; k < span->len; ++k) {
                const int x = span->x + k;
                if (x >= 0 && x < width)
                    coverage[size_t(y) * size_t(width) + size_t(x)] = span->covers[k] / 255.0f;
            }
        }
    }
    return coverage;
}

}  // namespace tv::standalone
