#include "PNormalize.h"

#include <algorithm>
#include <cstdio>

#include "algorithms/Normalization.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Normalize::Run";

// More tiles than pixels only add empty tiles; beyond this many the sum would take long
// without meaning anything.
constexpr int64_t MAX_EMPTY_TILES = int64_t(1) << 24;

// A tile count below this is refused.
constexpr int64_t MIN_TILES = 1;

using namespace Normalization;

}  // namespace

CPNormalize::CPNormalize()
    : m_outMin(0.0f),
      m_outMax(255.0f),
      m_outDefault(0.0f),
      m_minMaxMap("NULL"),
      m_tiles{1, 1, 1},
      m_mapMin(0.0f),
      m_mapMax(0.0f),
      m_upcast(false) {}

void CPNormalize::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Normalize");
    doc.Brief("Normalize pixel values of the input image",
              "Maps the grey values linearly from an input range onto the range out_min to "
              "out_max. The input range is the image's minimum and maximum, averaged over "
              "tileX x tileY x tileZ tiles (a tile starts its maximum at -65536 and its minimum "
              "at +65536, so an empty tile adds those); it is replaced by map_min to map_max as "
              "soon as either of them is non-zero. Values are clipped to min_max_map before "
              "they are measured and to the input range before they are mapped. All "
              "arithmetic is in 32-bit float; byte results are truncated and keep their low 8 "
              "bits. Tile counts must be at least 1.");
    doc.Parameter("out_min", m_outMin, "lower end of the output range").DoubleOrLong();
    doc.Parameter("out_max", m_outMax,
                  "upper end of the output range; if it equals out_min, both are moved apart by "
                  "one")
        .DoubleOrLong();
    doc.Parameter("out_default", m_outDefault,
                  "value of every output pixel when the input range is empty")
        .DoubleOrLong();
    doc.Parameter("min_max_map", m_minMaxMap,
                  "pre-clipping range of the form \"min max\"; NULL switches it off");
    doc.Parameter("map_min", m_mapMin,
                  "fixed lower end of the input range, it is used only if map_min != 0 and "
                  "map_max != 0");
    doc.Parameter("map_max", m_mapMax,
                  "fixed upper end of the input range, it is used only if map_min != 0 and "
                  "map_max != 0");
    doc.Parameter("tileX", m_tiles[0], "number of tiles along x").Minimum(MIN_TILES);
    doc.Parameter("tileY", m_tiles[1], "number of tiles along y").Minimum(MIN_TILES);
    doc.Parameter("tileZ", m_tiles[2], "number of tiles along z").Minimum(MIN_TILES);
    doc.Parameter("upcast", m_upcast, "make the output IMAGE_GREY_F whatever the input type")
        .Toggle();
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Output(0,
               "Normalized image of the input's type, or of type IMAGE_GREY_F when upcast is "
               "true.");
    doc.Keywords({"normalize", "normalise", "grayvalue", "clipping"});
}

void CPNormalize::NodeInit() {
    CPNode::NodeInit();
    WidenOutputRange(m_outMin, m_outMax);
}

void CPNormalize::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException(WHERE, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");

    const int64_t(&tiles)[3] = m_tiles;
    if (tiles[0] < MIN_TILES || tiles[1] < MIN_TILES || tiles[2] < MIN_TILES)
        throw CException(WHERE, CString("tile counts must be at least 1, but they are %1")
                                    .Arg(CPos(tiles[0], tiles[1], tiles[2]).ToString()));
    int64_t count = 0;
    if (__builtin_mul_overflow(tiles[0], tiles[1], &count) ||
        __builtin_mul_overflow(count, tiles[2], &count) ||
        count > std::max(input->Pixels(), MAX_EMPTY_TILES))
        throw CException(WHERE, CString("%1 tiles are too many for an image of size %2")
                                    .Arg(CPos(tiles[0], tiles[1], tiles[2]).ToString())
                                    .Arg(input->Size().ToString()));

    SRange clip{0.0f, 0.0f};
    const bool preClip = m_minMaxMap != "NULL";
    if (preClip && std::sscanf(m_minMaxMap.c_str(), "%f %f", &clip.lo, &clip.hi) != 2)
        throw CException(WHERE, "Can't parse the 'min_max_map' parameter, invalid format");

    // Either bound non-zero (NaN included) fixes the range.
    const SRange fixedRange{m_mapMin, m_mapMax};
    const SRange* fixed = m_mapMin != 0.0f || m_mapMax != 0.0f ? &fixedRange : nullptr;
    const SRange output{m_outMin, m_outMax};

    auto result = std::make_unique<CImage>(m_upcast ? IMAGE_GREY_F : input->Type(), input->Size(),
                                           CSize(0, 0, 0), CImage::NoInit{});
    DispatchType<IImage::CType::GREY_F, IImage::CType::GREY_8>(
        input->Type(), [&]<class T>(std::type_identity<T>) {
            DispatchType<IImage::CType::GREY_F, IImage::CType::GREY_8>(
                result->Type(), [&]<class O>(std::type_identity<O>) {
                    const T* in = input->Data<T>();
                    O* out = result->Data<O>();
                    if (preClip)
                        Normalize<true>(in, out, input->Size(), tiles, clip, fixed, output,
                                        m_outDefault);
                    else
                        Normalize<false>(in, out, input->Size(), tiles, clip, fixed, output,
                                         m_outDefault);
                });
        });
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
