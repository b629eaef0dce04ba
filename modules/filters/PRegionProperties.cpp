#include "PRegionProperties.h"

#include <vector>

#include "FilterNode.h"
#include "Regions.h"

namespace ORVA::Filters {

namespace {

// The measurements in table order; `whole` ones are longs in the maps.
struct SColumn {
    const char* key;
    bool whole;
    double (*get)(const SRegion&);
};

const SColumn COLUMNS[] = {
    {"label", true, [](const SRegion& r) { return double(r.label); }},
    {"area", true, [](const SRegion& r) { return double(r.area); }},
    {"centroid_x", false, [](const SRegion& r) { return r.centroidX; }},
    {"centroid_y", false, [](const SRegion& r) { return r.centroidY; }},
    {"min_x", true, [](const SRegion& r) { return double(r.minX); }},
    {"min_y", true, [](const SRegion& r) { return double(r.minY); }},
    {"max_x", true, [](const SRegion& r) { return double(r.maxX); }},
    {"max_y", true, [](const SRegion& r) { return double(r.maxY); }},
    {"perimeter", false, [](const SRegion& r) { return r.perimeter; }},
    {"equivalent_diameter", false, [](const SRegion& r) { return r.equivalentDiameter; }},
    {"orientation", false, [](const SRegion& r) { return r.orientation; }},
    {"eccentricity", false, [](const SRegion& r) { return r.eccentricity; }},
    // Only with an intensity image.
    {"mean", false, [](const SRegion& r) { return r.mean; }},
    {"minimum", false, [](const SRegion& r) { return r.minimum; }},
    {"maximum", false, [](const SRegion& r) { return r.maximum; }},
};
constexpr size_t SHAPE_COLUMNS = 12;

}  // namespace

void CPRegionProperties::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "LabelImage", "RegionProperties")
        .HelpPage("filters", "PRegionProperties");
    doc.Brief(
        "Measures every region of a label image: area, centroid, box, perimeter, shape and "
        "intensity.",
        "Each pixel's label is the integer part of its value; 0 is background, labels run to "
        "2^31 - 1 and need not be consecutive. For each label present, in increasing order, with x "
        "the column and y the row: "
        "area (pixel count), centroid_x and centroid_y (mean x and y), min_x, min_y, max_x, "
        "max_y (the inclusive box), perimeter (scikit-image's 4-connected perimeter: border "
        "pixels weighed 1, sqrt(2) or (1 + sqrt(2)) / 2 by their border neighbours), "
        "equivalent_diameter sqrt(4 area / pi), orientation 0.5 atan2(2 cov(x, y), "
        "var(y) - var(x)) in radians (for var(x) = var(y): -pi/4 when cov(x, y) > 0, else "
        "pi/4) and eccentricity sqrt(1 - l2 / l1) of the eigenvalues of "
        "the inertia tensor [var(x) -cov; -cov var(y)], as scikit-image's regionprops. With an "
        "intensity image: mean, minimum and maximum of its samples over the region.\n"
        "Output 0 is an IMAGE_GREY_F table with one row per region and these columns in this "
        "order; output 1 the same as a vector of maps keyed by the column names (whole numbers "
        "as longs). The table's attributes hold \"ID\" (\"RegionProperties\") and \"columns\".");
    doc.Input(0, "Label image of type " + GreyTypes::Names() + ", one slice.").Label("labels");
    doc.Input(1, "Intensity image of type " + GreyTypes::Names() + " and the labels' size.")
        .Label("intensity")
        .Optional();
    doc.Output(0, "IMAGE_GREY_F table, one row per region.").Label("table");
    doc.Output(1, "Vector of one map per region.", CSetupDocument::PIN_VECTOR).Label("regions");
    doc.Keywords(
        {"regionprops", "measure", "area", "centroid", "perimeter", "eccentricity", "label"});
}

void CPRegionProperties::Run() {
    const char* where = "(filters) RegionProperties::Run";
    const CImage* labels = Input(*this, 0, where);
    const CImage* intensity = Input(*this, 1, where, true);
    const CSize size = labels->Size();
    if (size.z > 1)
        throw CException(where, CString("the label image has %1 slices; one expected").Arg(size.z));
    // The intensity is read as doubles, so one measuring loop serves every pair of types.
    std::vector<double> values;
    if (intensity) {
        if (!(intensity->Size() == size))
            throw CException(where, "the intensity image is of size " +
                                        intensity->Size().ToString() + ", the labels of size " +
                                        size.ToString());
        Dispatch(
            GreyTypes{}, where, intensity->Type(),
            [&]<class I>(std::type_identity<I>) {
                const I* in = intensity->Data<I>();
                values.assign(in, in + intensity->Pixels());
            },
            1);
    }
    std::vector<SRegion> regions;
    Dispatch(GreyTypes{}, where, labels->Type(), [&]<class L>(std::type_identity<L>) {
        const SPlane<const L> plane{labels->Data<L>(), size.x, size.y, size.x};
        const SPlane<const double> measured{intensity ? values.data() : nullptr, size.x, size.y,
                                            size.x};
        regions = RegionProperties(plane, measured);
    });
    const size_t columns = intensity ? std::size(COLUMNS) : SHAPE_COLUMNS;
    const int64_t rows = static_cast<int64_t>(regions.size());
    auto table = NewImage(IMAGE_GREY_F, CSize(static_cast<int64_t>(columns), rows));
    auto records = std::make_unique<CValueVector>();
    auto names = std::make_unique<CValueVector>();
    for (size_t c = 0; c < columns; ++c)
        names->PushBack(new CValueString(COLUMNS[c].key));
    float* cell = table->Data<float>();
    for (const SRegion& region : regions) {
        auto record = std::make_unique<CValueMap>();
        for (size_t c = 0; c < columns; ++c) {
            const double value = COLUMNS[c].get(region);
            *cell++ = static_cast<float>(value);
            if (COLUMNS[c].whole)
                record->SetEntry(COLUMNS[c].key, new CValueLong(static_cast<int32_t>(value)));
            else
                record->SetEntry(COLUMNS[c].key, new CValueDouble(value));
        }
        records->PushBack(std::move(record));
    }
    table->Attributes().SetEntry("ID", new CValueString("RegionProperties"));
    table->Attributes().SetEntry("columns", names.release());
    SetImage(*this, 0, std::move(table));
    SetStackOutput(1, std::move(records));
}

}  // namespace ORVA::Filters
