#include "PFindMax.h"

#include <cmath>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "algorithms/LabelValues.h"
#include "algorithms/LocalMaxima.h"
#include "support/InputChecks.h"
#include "support/TableOutput.h"

namespace ORVA {

void CPFindMax::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "LabelImage", "FindMax");
    doc.Brief("Finds the local maxima of an image.",
              "A pixel is a maximum when it is greater than threshold and no pixel within "
              "radius in x and y of the same plane (a square of 2 radius + 1 pixels, clipped "
              "to the image) is greater; NaN pixels are never maxima and never hide one. This "
              "is the pixel where a grey dilation with that square equals the image. Maxima of "
              "one value that touch each other in the 8-neighbourhood form a plateau, which is "
              "reported once, at its first pixel in raster order. With a label image on input "
              "1, only the largest maximum of each label 1 .. n is kept (the first in raster "
              "order among equal ones); maxima on the background are dropped. Label pixels are "
              "read as in ZoneList: IMAGE_GREY_F values truncated toward zero, values below 1 "
              "are background. The maxima are sorted by descending value, equal values in "
              "raster order, and max_count keeps the first ones.");
    doc.Input(0, "Input image of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32 or IMAGE_GREY_F.");
    doc.Input(1,
              "Optional label image of type IMAGE_GREY_F or IMAGE_GREY_8 of the size of input 0.")
        .Optional();
    doc.Output(0,
               "Table of type IMAGE_GREY_F with one row per maximum: label (0 without a label "
               "image), x, y, z, value.");
    doc.Output(1,
               "The same as a vector of maps with \"label\", \"x\", \"y\", \"z\" (longs) and "
               "\"value\" (double).",
               CSetupDocument::PIN_VECTOR);
    doc.Parameter("threshold", m_threshold, "maxima must be greater than this");
    doc.Parameter("radius", m_radius,
                  "half the side of the square a maximum must not be exceeded in; 0 makes every "
                  "pixel above threshold a maximum")
        .Minimum(0);
    doc.Parameter("max_count", m_maxCount,
                  "keep only this many of the largest maxima; 0 or less keeps all");
    doc.Keywords(
        {"local maximum", "maxima", "peak", "peak detection", "non-maximum suppression", "label"});
    doc.SeeAlso("FindBalancePoint, ZoneList");
}

namespace {

const char* const WHERE = "(utility plugins) FindMax::Run";

}  // namespace

void CPFindMax::Run() {
    const CImage* input = InputImage(0, NumberedInput(WHERE));
    RequireType(*input, 0, {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F}, WHERE);
    const CImage* labels = HasStackInput(1) ? InputImage(1, NumberedInput(WHERE)) : nullptr;
    if (labels) {
        RequireType(*labels, 1, {IMAGE_GREY_F, IMAGE_GREY_8}, WHERE);
        RequireSizeOfFirst(*labels, 1, input->Size(), WHERE);
    }
    if (m_radius < 0)
        throw CException(WHERE, CString("radius must be 0 or more, but it is %1").Arg(m_radius));
    if (std::isnan(m_threshold)) throw CException(WHERE, "threshold is NaN, not a number");
    const CSize size = input->Size();
    if (size.x * size.y >= int64_t(UINT32_MAX))
        throw CException(WHERE,
                         CString("planes of %1 x %2 pixels are too large").Arg(size.x).Arg(size.y));

    std::unique_ptr<CImage> table;
    std::unique_ptr<CValueVector> records;
    try {
        std::vector<SPeak> peaks;
        using Id = IImage::CType;
        DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_F>(
            input->Type(), [&]<class T>(std::type_identity<T>) {
                peaks =
                    LocalMaxima(input->Data<T>(), size, m_radius, m_threshold, std::move(m_peaks));
            });
        // The label of a maximum, 0 without labels.
        std::function<int64_t(int64_t)> labelAt = [](int64_t) { return int64_t(0); };
        if (labels)
            DispatchType<Id::GREY_F, Id::GREY_8>(labels->Type(), [&]<class L>(
                                                                     std::type_identity<L>) {
                const L* data = labels->Data<L>();
                const int64_t maxLabel = MaxLabel(data, labels->Pixels());
                if (maxLabel > MAX_LABEL)
                    throw CException(
                        WHERE,
                        CString("label %1 is too large (at most %2)").Arg(maxLabel).Arg(MAX_LABEL));
                peaks = LargestPerLabel(peaks, data, maxLabel);
                labelAt = [data](int64_t index) { return LabelOf(data[index]); };
            });
        SortStrongestFirst(peaks, m_scratch);
        if (m_maxCount > 0 && static_cast<size_t>(m_maxCount) < peaks.size())
            peaks.resize(static_cast<size_t>(m_maxCount));

        const std::vector<SField> fields = {
            {"label", true}, {"x", true}, {"y", true}, {"z", true}, {"value", false}};
        const int64_t planePixels = size.x * size.y;
        auto fill = [&](int64_t i, double* cells) {
            const SPeak& peak = peaks[static_cast<size_t>(i)];
            const int64_t index = peak.index;
            cells[0] = static_cast<double>(labelAt(index));
            cells[1] = static_cast<double>(index % size.x);
            cells[2] = static_cast<double>(index % planePixels / size.x);
            cells[3] = static_cast<double>(index / planePixels);
            cells[4] = peak.value;
        };
        const int64_t n = static_cast<int64_t>(peaks.size());
        if (HasStackOutput(1)) records = TableRecords(fields, n, fill);
        table = TableImage(fields, n, fill);
        m_peaks = std::move(peaks);
    } catch (const std::bad_alloc&) {
        throw CException(
            WHERE, CString("not enough memory to search an image of size %1").Arg(size.ToString()));
    }
    SetStackOutput(0, OwnedImage(std::move(table)));
    if (records) SetStackOutput(1, std::move(records));
}

}  // namespace ORVA
