#include "PHistogram.h"

#include <iostream>

#include "algorithms/Histogram.h"

namespace ORVA {

void CPHistogram::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Histogram");
    doc.Brief("Computes the grey-value histogram of an image.",
              "Counts the values of all planes that lie between range_min and range_max into "
              "bin_count equally wide bins. Every bin holds the values from its lower bound up to "
              "its upper bound, the last one including range_max; NaN values are not counted. "
              "Counts above 16777216 cannot be held exactly by a float; a warning says so.");
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Output(0,
               "Histogram of type IMAGE_GREY_F, of width 1 and height bin_count: bin i in row i, "
               "with the attributes of a table.");
    m_bins.Declare(doc);
    doc.Keywords({"histogram", "analysis", "statistics"});
}

void CPHistogram::NodeInit() {
    CPNode::NodeInit();
    m_bins.FixBinCount();
}

void CPHistogram::Run() {
    const char* where = "(utility plugins) Histogram::Run";
    if (!HasStackInput(0)) throw CException(where, "input image is NULL");
    const CImage* input = InputImage(
        0,
        {.where = where, .missing = "Null image on slot 0.", .notImage = "input is not an image"});
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException(where, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    const SHistogramParameters& s = m_bins;
    if (s.rangeMin >= s.rangeMax) throw CException(where, "range_min >= m_range_max!");

    const int64_t bins = s.binCount;
    CheckMemory(uint64_t(bins) * (sizeof(float) + sizeof(uint64_t)), where,
                CString("a histogram of %1 bins").Arg(bins));
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, CSize(1, bins, 1));
    CBuffer buffer(static_cast<size_t>(bins) * sizeof(uint64_t), true);
    uint64_t* counts = reinterpret_cast<uint64_t*>(buffer.Data());
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
        input->Type(), [&]<class T>(std::type_identity<T>) {
            CountHistogram(input->Data<T>(), input->Pixels(), s.rangeMin, s.rangeMax, bins, counts);
        });

    if (s.normalize)
        NormalizedCounts(counts, bins, output->Data<float>());
    else if (CountsToFloat(counts, bins, output->Data<float>()))
        std::cout << "WARNING " << where << " - histogram values greater " << 16777216
                  << " occure, those values are inexact due to floating point precision."
                  << std::endl;
    CValueMap& attributes = output->Attributes();
    attributes.SetEntry("Image/ContentType", new CValueString("table"));
    attributes.SetEntry("Image/table-type", new CValueString("histogram"));
    attributes.SetEntry("Image/y-name", new CValueString("greyvalue bin"));
    attributes.SetEntry("Image/f-name", new CValueString("count"));
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
