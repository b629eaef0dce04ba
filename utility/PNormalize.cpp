#include "PNormalize.h"

#include <algorithm>
#include <cstdio>

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Normalize::Run";

// More tiles than pixels only add empty tiles; beyond this many the sum would take long
// without meaning anything.
constexpr int64_t MAX_EMPTY_TILES = int64_t(1) << 24;

using namespace NormalizeKernel;

template <bool PreClip, class T, class O>
void Normalize(const T* in, O* out, const CSize& size, const int64_t (&tiles)[3], SRange clip,
               const SRange* fixed, SRange output, float outDefault) {
    const SRange range = fixed ? *fixed : TiledExtremes<PreClip>(in, size, tiles, clip);
    MapOrFill<PreClip>(in, out, size.Elements(), clip, range, output, outDefault);
}

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

void CPNormalize::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Normalize");
    doc.Brief("Normalize pixel values of the input image",
              "Maps the grey values linearly from an input range onto the range out_min to "
              "out_max. The input range is the image's minimum and maximum, averaged over "
              "tileX x tileY x tileZ tiles (a tile starts its maximum at -65536 and its minimum "
              "at +65536, so an empty tile adds those); it is replaced by map_min to map_max as "
              "soon as either of them is non-zero. Values are clipped to min_max_map before "
              "they are measured and to the input range before they are mapped. All "
              "arithmetic is in 32-bit float; byte results are truncated and keep their low 8 "
              "bits. Tile counts must be at least 1.");
    doc.Parameter("out_min", m_outMin, "lower end of the output range").Type("double or long");
    doc.Parameter("out_max", m_outMax,
                  "upper end of the output range; if it equals out_min, both are moved apart by "
                  "one")
        .Type("double or long");
    doc.Parameter("out_default", m_outDefault,
                  "value of every output pixel when the input range is empty")
        .Type("double or long");
    doc.Parameter("min_max_map", m_minMaxMap,
                  "pre-clipping range of the form \"min max\"; NULL switches it off");
    doc.Parameter("map_min", m_mapMin,
                  "fixed lower end of the input range, it is used only if map_min != 0 and "
                  "map_max != 0");
    doc.Parameter("map_max", m_mapMax,
                  "fixed upper end of the input range, it is used only if map_min != 0 and "
                  "map_max != 0");
    doc.Parameter("tileX", m_tiles[0], "number of tiles along x");
    doc.Parameter("tileY", m_tiles[1], "number of tiles along y");
    doc.Parameter("tileZ", m_tiles[2], "number of tiles along z");
    doc.Parameter("upcast", m_upcast, "make the output IMAGE_GREY_F whatever the input type")
        .Toggle();
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Output(0,
               "Normalized image of the input's type, or of type IMAGE_GREY_F when upcast is "
               "true.");
    doc.Keywords({"normalize", "normalise", "grayvalue", "clipping"});
    doc.WriteTo(setup);
}

void CPNormalize::NodeInit() {
    const CValueMap& parameters = Parameters();
    ReadDoubleOrLong(parameters, "out_min", m_outMin);
    ReadDoubleOrLong(parameters, "out_max", m_outMax);
    ReadDoubleOrLong(parameters, "out_default", m_outDefault);
    m_minMaxMap = parameters.EntryString("min_max_map", m_minMaxMap);
    m_mapMin = static_cast<float>(parameters.EntryDouble("map_min", m_mapMin));
    m_mapMax = static_cast<float>(parameters.EntryDouble("map_max", m_mapMax));
    WidenOutputRange(m_outMin, m_outMax);
    const char* keys[3] = {"tileX", "tileY", "tileZ"};
    for (int axis = 0; axis < 3; ++axis)
        m_tiles[axis] = parameters.EntryLong(keys[axis], static_cast<int32_t>(m_tiles[axis]));
    m_upcast = parameters.EntryBool("upcast", m_upcast);
}

void CPNormalize::Run() {
    const CValue* value = GetStackInput(0, false);
    if (!value) throw CException(WHERE, "input image is NULL");
    const CImage* input = UnwrapPointer<CImage>(value, WHERE);
    if (!input) throw CException(WHERE, "input image is NULL");
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException(WHERE, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");

    const int64_t(&tiles)[3] = m_tiles;
    if (tiles[0] < 1 || tiles[1] < 1 || tiles[2] < 1)
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
