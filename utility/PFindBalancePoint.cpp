#include "PFindBalancePoint.h"

#include <limits>
#include <new>
#include <vector>

#include "algorithms/LabelMoments.h"
#include "algorithms/LabelValues.h"
#include "support/InputChecks.h"
#include "support/TableOutput.h"

namespace ORVA {

void CPFindBalancePoint::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "LabelImage", "FindBalancePoint");
    doc.Brief("Computes the centre of mass of every label of a label image.",
              "Every pixel value k from 1 to the largest value n is a label (IMAGE_GREY_F values "
              "truncated toward zero; values below 1, NaN among them, are background), and its "
              "balance point is the mean of the x, y and z coordinates of its pixels, each "
              "pixel weighted by the value of input 1 there when input 1 is connected, else by "
              "1 (the centroid, as OpenCV's connectedComponentsWithStats or scikit-image's "
              "regionprops give it, in x, y order). Coordinates are pixel indices, so the "
              "centre of the first pixel is (0, 0). All sums are taken in double. A label whose "
              "weight sum is 0, among them every label without pixels, has NaN coordinates. "
              "Labels above 16777216 are refused.");
    doc.Input(0, "Label image of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16 or IMAGE_GREY_32.");
    doc.Input(1,
              "Optional weights: a grey image of type IMAGE_GREY_8, IMAGE_GREY_16, "
              "IMAGE_GREY_32, IMAGE_GREY_F or IMAGE_GREY_D of the label image's size.")
        .Optional();
    doc.Output(0,
               "Table of type IMAGE_GREY_F with one row per label 1 .. n: x, y, z (only for "
               "images of more than one plane) and the weight sum (the area without weights).");
    doc.Output(1,
               "The same as a vector of maps with \"label\" (long), \"x\", \"y\", \"z\" (only "
               "for more than one plane) and \"weight\" (doubles).",
               CSetupDocument::PIN_VECTOR);
    doc.Keywords(
        {"centre of mass", "center of mass", "centroid", "balance point", "label", "moments"});
    doc.SeeAlso("ZoneList, Labeling, FindMax");
}

void CPFindBalancePoint::Run() {
    const char* where = "(utility plugins) FindBalancePoint::Run";
    const CImage* labels = InputImage(0, NumberedInput(where));
    RequireType(*labels, 0, {IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32}, where);
    const CImage* weights = HasStackInput(1) ? InputImage(1, NumberedInput(where)) : nullptr;
    if (weights) {
        RequireType(*weights, 1,
                    {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F, IMAGE_GREY_D},
                    where);
        RequireSizeOfFirst(*weights, 1, labels->Size(), where);
    }
    const CSize size = labels->Size();

    using Id = IImage::CType;
    std::vector<SLabelMoments> moments;
    DispatchType<Id::GREY_F, Id::GREY_8, Id::GREY_16, Id::GREY_32>(
        labels->Type(), [&]<class L>(std::type_identity<L>) {
            const L* data = labels->Data<L>();
            const int64_t maxLabel = MaxLabel(data, labels->Pixels());
            if (maxLabel > MAX_LABEL)
                throw CException(
                    where,
                    CString("label %1 is too large (at most %2)").Arg(maxLabel).Arg(MAX_LABEL));
            try {
                moments.assign(static_cast<size_t>(maxLabel) + 1, SLabelMoments{});
            } catch (const std::bad_alloc&) {
                throw CException(where, CString("not enough memory for %1 labels").Arg(maxLabel));
            }
            if (!weights) {
                AccumulateMoments(data, static_cast<const uint8_t*>(nullptr), size, maxLabel,
                                  moments);
                return;
            }
            DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_F, Id::GREY_D>(
                weights->Type(), [&]<class W>(std::type_identity<W>) {
                    AccumulateMoments(data, weights->Data<W>(), size, maxLabel, moments);
                });
        });

    const bool planes = size.z > 1;
    std::vector<SField> fields = {{"label", true, false}, {"x", false}, {"y", false}};
    if (planes) fields.push_back({"z", false});
    fields.push_back({"weight", false});
    auto fill = [&](int64_t i, double* cells) {
        const SLabelMoments& m = moments[static_cast<size_t>(i + 1)];
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const bool weighed = m.weight != 0.0;
        *cells++ = static_cast<double>(i + 1);
        *cells++ = weighed ? m.x / m.weight : nan;
        *cells++ = weighed ? m.y / m.weight : nan;
        if (planes) *cells++ = weighed ? m.z / m.weight : nan;
        *cells = m.weight;
    };
    const int64_t n = static_cast<int64_t>(moments.size()) - 1;
    std::unique_ptr<CValueVector> records;
    if (HasStackOutput(1)) records = TableRecords(fields, n, fill);
    SetStackOutput(0, OwnedImage(TableImage(fields, n, fill)));
    if (records) SetStackOutput(1, std::move(records));
}

}  // namespace ORVA
