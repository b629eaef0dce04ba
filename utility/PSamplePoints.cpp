#include "PSamplePoints.h"

#include <algorithm>
#include <vector>

#include "algorithms/Sampling.h"
#include "support/Enumerations.h"
#include "support/InputChecks.h"
#include "support/Tables.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) SamplePoints::Run";
}  // namespace

void CPSamplePoints::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "SamplePoints");
    doc.Brief(
        "Samples the input image at the points of a table.",
        "Each row of the table on input 1 is a point: x in column x_column, y in the next one, "
        "and z in column z_column when that is 0 or more; further columns are ignored. So the "
        "tables of GetCoordinates fit (x_column 1 with its label column, z_column 2 or 3 with "
        "3d), and those of CurveIndex with x_column 2. Without a z column the first plane is "
        "sampled.\n\n"
        "Pixel centres lie at integer coordinates. NEAREST takes the pixel whose centre is "
        "nearest (halves round up); BILINEAR interpolates between the surrounding centres "
        "(linearly along z as well), and a point exactly on a centre gets that pixel's value. "
        "A point outside the image takes outside_value: for NEAREST when its nearest pixel lies "
        "outside, for BILINEAR when it lies beyond the outermost pixel centres; so do points "
        "with a coordinate that is not finite. Values are computed in double precision.");
    doc.Parameter("interpolation", m_interpolation,
                  "how values between pixel centres are read: BILINEAR or NEAREST")
        .Values(INTERPOLATIONS);
    doc.Parameter("outside_value", m_outsideValue, "value of points outside the image")
        .DoubleOrLong();
    doc.Parameter("x_column", m_xColumn, "column of the table that holds x; y is the next one")
        .Minimum(0);
    doc.Parameter("z_column", m_zColumn, "column of the table that holds z; -1 for none")
        .Minimum(-1);
    doc.Input(0,
              "Input image of a single-channel type (IMAGE_GREY_8, _16, _32, _64, _F, _D or "
              "binary).");
    doc.Input(1, "Table of points of type IMAGE_GREY_F, one point per row.");
    doc.Output(0, "Table of type IMAGE_GREY_F with one row x, y, value per point.");
    doc.Output(1, "The values as a CValueVector of doubles, one per point.",
               CSetupDocument::PIN_VECTOR);
    doc.Keywords({"sample", "interpolation", "pixel values", "lookup", "points"});
    doc.SeeAlso("SampleLine, GetCoordinates, CurveIndex");
    doc.Example(
        "ReadImage filename=%ORVADIR%/examples/images/coconut.png ! StringToImage 'data_string=64 "
        "64\\n128 200' ! SamplePoints @0=1 @1=2");
}

void CPSamplePoints::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    RequireSingleChannel(*input, SINGLE_CHANNEL_EXPECTED, WHERE);
    const auto mode = EnumerationEntry<EnInterpolation>(
        INTERPOLATIONS, m_interpolation, WHERE,
        "parameter interpolation must be NEAREST or BILINEAR, but it is '%1'");
    if (m_xColumn < 0)
        throw CException(
            WHERE, CString("parameter x_column must be 0 or more, but it is %1").Arg(m_xColumn));
    if (m_zColumn < -1)
        throw CException(
            WHERE,
            CString("parameter z_column must be -1 (none) or more, but it is %1").Arg(m_zColumn));
    const int64_t columns = std::max<int64_t>(int64_t(m_xColumn) + 2, int64_t(m_zColumn) + 1);
    const CImage* points = InputTable(*this, 1, WHERE, columns);
    if (!points) throw CException(WHERE, "input 1 (the table of points) is NULL");

    const int64_t rows = TableRows(*points);
    std::unique_ptr<CImage> table = MakeTable(3, rows);
    std::vector<double> values(HasStackOutput(1) ? static_cast<size_t>(rows) : 0);
    DispatchSampling(input->Type(), mode,
                     [&]<EnInterpolation MODE, class T>(
                         std::integral_constant<EnInterpolation, MODE>, std::type_identity<T>) {
                         SampleTable<MODE>(input->Data<T>(), input->Size(), points->Data<float>(),
                                           points->Size().x, rows, m_xColumn, m_zColumn,
                                           m_outsideValue, table->Data<float>(),
                                           HasStackOutput(1) ? values.data() : nullptr);
                     });
    SetStackOutput(0, OwnedImage(std::move(table)));
    if (HasStackOutput(1)) {
        auto vector = std::make_unique<CValueVector>();
        for (double value : values)
            vector->PushBack(std::make_unique<CValueDouble>(value));
        SetStackOutput(1, std::move(vector));
    }
}

}  // namespace ORVA
