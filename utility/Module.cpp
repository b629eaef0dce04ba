// The module's entry points: the list of its nodes, the factory that makes them by name, and
// the time it was loaded.
#include <cstring>
#include <ctime>
#include <iostream>
#include <new>
#include <string>

#include "PAddMetaData.h"
#include "PBoundingBox.h"
#include "PConvertType.h"
#include "PConvexHull.h"
#include "PCopyImage.h"
#include "PCurveIndex.h"
#include "PDrawCircle.h"
#include "PDrawString.h"
#include "PExpandBox.h"
#include "PFillWithValue.h"
#include "PFindAndCutRectangle.h"
#include "PFindBalancePoint.h"
#include "PFindMax.h"
#include "PFindRectangle.h"
#include "PGetCoordinates.h"
#include "PGetImageAttributes.h"
#include "PHistogram.h"
#include "PHistogram2d.h"
#include "PHough.h"
#include "PHoughCircle.h"
#include "PImageInfo.h"
#include "PLabeling.h"
#include "PMeanValueDifference.h"
#include "PMerge.h"
#include "PMutualInformation.h"
#include "PNormalize.h"
#include "PNormalizeLine.h"
#include "PPaintMarks.h"
#include "PPixelLabel.h"
#include "PProjection.h"
#include "PRadon.h"
#include "PRayMaximum.h"
#include "PRayMinimum.h"
#include "PReadASCII.h"
#include "PReadImage.h"
#include "PReadMap.h"
#include "PReplaceNonFinite.h"
#include "PReplaceValue.h"
#include "PRingBuffer.h"
#include "PSampleLine.h"
#include "PSamplePoints.h"
#include "PSaveASCII.h"
#include "PSaveImage.h"
#include "PScript.h"
#include "PSelectImage.h"
#include "PSelectPixel.h"
#include "PSetImageAttributes.h"
#include "PSleep.h"
#include "PSort.h"
#include "PStaticImage.h"
#include "PStaticStorage.h"
#include "PStatistics.h"
#include "PStringManipulation.h"
#include "PStringToImage.h"
#include "PTJHoughCircle.h"
#include "PTextSerializer.h"
#include "PTimerStart.h"
#include "PTimerStop.h"
#include "PZoneList.h"

namespace ORVA {
namespace {

enum class EnKind {
    CURRENT,      // offered by ListPlugins
    DEPRECATED,   // still made for old graphs, with a warning
    ALTERNATIVE,  // another name of a current node
    RELOCATED,    // moved to another module
};

struct SFactoryRow {
    const char* name;
    CPNode* (*create)();  // null while the node's class is not part of the module
    EnKind kind;
    int listed;  // place in ListPlugins, -1 for none
    const char* advice = nullptr;
};

template <class T>
CPNode* Make() {
    return new (std::nothrow) T();
}

// One class writes files and, in string mode, strings.
CPNode* MakeSaveASCII() {
    return new (std::nothrow) CPSaveASCII(false);
}
CPNode* MakeImageToString() {
    return new (std::nothrow) CPSaveASCII(true);
}
CPNode* MakeTextSerializer() {
    return new (std::nothrow) CTextSerializerNode("TextSerializerNode");
}

using enum EnKind;

// Every name the factory accepts, in the order it tests them.
constexpr SFactoryRow FACTORY[] = {
    {"ConvertType", Make<CPConvertType>, CURRENT, 0},
    {"Sleep", Make<CPSleep>, CURRENT, 40},
    {"Normalize", Make<CPNormalize>, CURRENT, 1},
    {"CurveIndex", Make<CPCurveIndex>, CURRENT, 2},
    {"ReadImage", Make<CPReadImage>, CURRENT, 3},
    {"CopyImage", Make<CPCopyImage>, CURRENT, 4},
    {"ExpandBox", Make<CPExpandBox>, DEPRECATED, -1},
    {"ReplaceValue", Make<CPReplaceValue>, CURRENT, 5},
    {"ReplaceNonFinite", Make<CPReplaceNonFinite>, CURRENT, 6},
    {"ImageInfo", Make<CPImageInfo>, CURRENT, 7},
    {"MutualInformation", Make<CPMutualInformation>, CURRENT, 8},
    {"Projection", Make<CPProjection>, CURRENT, 9},
    {"NormalizeLine", Make<CPNormalizeLine>, DEPRECATED, -1},
    {"FindRectangle", Make<CPFindRectangle>, DEPRECATED, -1},
    {"FindAndCutRectangle", Make<CPFindAndCutRectangle>, DEPRECATED, -1},
    {"Labeling", Make<CPLabeling>, CURRENT, 10},
    {"Merge", Make<CPMerge>, DEPRECATED, -1},
    {"Hough", Make<CPHough>, CURRENT, 11},
    {"PaintMarks", Make<CPPaintMarks>, CURRENT, 12},
    {"ReadASCII", Make<CPReadASCII>, CURRENT, 13},
    {"SaveASCII", MakeSaveASCII, CURRENT, 42},
    {"ImageToString", MakeImageToString, CURRENT, 41},
    {"Statistics", Make<CPStatistics>, CURRENT, 15},
    {"BoundingBox", Make<CPBoundingBox>, CURRENT, 14},
    {"DrawString", Make<CPDrawString>, CURRENT, 16},
    {"Histogram", Make<CPHistogram>, CURRENT, 17},
    {"SampleLine", Make<CPSampleLine>, CURRENT, 18},
    {"RayMaximum", Make<CPRayMaximum>, CURRENT, 20},
    {"RayMinimum", Make<CPRayMinimum>, CURRENT, 21},
    {"Radon", Make<CPRadon>, CURRENT, 19},
    {"SaveImage", Make<CPSaveImage>, CURRENT, 43},
    {"FillWithValue", Make<CPFillWithValue>, DEPRECATED, -1},
    {"MeanValueDifference", Make<CPMeanValueDifference>, DEPRECATED, -1},
    {"ConvexHull", Make<CPConvexHull>, CURRENT, 22},
    {"Script", Make<CPScript>, CURRENT, 23},
    {"ZoneList", Make<CPZoneList>, CURRENT, 25},
    {"Sort", Make<CPSort>, CURRENT, 24},
    {"TimerStart", Make<CPTimerStart>, CURRENT, 26},
    {"TimerStop", Make<CPTimerStop>, CURRENT, 27},
    {"FindMax", Make<CPFindMax>, CURRENT, 28},
    {"FindBalancePoint", Make<CPFindBalancePoint>, CURRENT, 30},
    {"DrawCircle", Make<CPDrawCircle>, DEPRECATED, -1, "We recommend to use Data::Circle instead!"},
    {"HoughCircle", Make<CPHoughCircle>, CURRENT, 29},
    {"HoughCircleTJ", Make<CPTJHoughCircle>, ALTERNATIVE, -1},
    {"SelectImage", Make<CPSelectImage>, CURRENT, 31},
    {"SelectPixel", Make<CPSelectPixel>, CURRENT, 32},
    {"StringToImage", Make<CPStringToImage>, CURRENT, 33},
    {"StaticImage", Make<CPStaticImage>, CURRENT, 34},
    {"StaticStorage", Make<CPStaticStorage>, CURRENT, 35},
    {"ReadMap", Make<CPReadMap>, CURRENT, 44},
    {"RingBuffer", Make<CPRingBuffer>, CURRENT, 36},
    {"TextSerializer", MakeTextSerializer, CURRENT, 37},
    {"AddMetaData", Make<CPAddMetaData>, CURRENT, 45},
    {"SamplePoints", Make<CPSamplePoints>, CURRENT, 46},
    {"Histogram2d", Make<CPHistogram2d>, CURRENT, 47},
    {"GetImageAttributes", Make<CPGetImageAttributes>, CURRENT, 48},
    {"SetImageAttributes", Make<CPSetImageAttributes>, CURRENT, 49},
    {"GetCoordinates", Make<CPGetCoordinates>, CURRENT, 50},
    {"StringManipulation", Make<CPStringManipulation>, CURRENT, 38},
    {"PixelLabel", Make<CPPixelLabel>, CURRENT, 39},
    {"EnvVar", nullptr, RELOCATED, -1},
};

constexpr int LISTED = 51;

int64_t g_loadingTime = 0;

// Stands in for the process-attach notification: runs when the library is loaded.
__attribute__((constructor)) void OnLoad() {
    g_loadingTime = static_cast<int64_t>(std::time(nullptr));
}

}  // namespace
}  // namespace ORVA

using namespace ORVA;

extern "C" {

__attribute__((visibility("default"))) CValueVector* ListPlugins() {
    auto* list = new CValueVector();
    for (const SFactoryRow& row : FACTORY)
        if (row.listed >= 0) list->SetEntry(CValue_Key(row.listed), new CValueString(row.name));
    return list;
}

__attribute__((visibility("default"))) CPNode* CreatePluginInstanceEx(const char* name) {
    if (!name) return nullptr;
    const std::string wanted(name);
    for (const SFactoryRow& row : FACTORY) {
        if (wanted != row.name) continue;
        if (row.kind == RELOCATED) throw CExPluginRelocation("utility::EnvVar", "sysutils::EnvVar");
        if (!row.create) return nullptr;
        if (row.kind == DEPRECATED) {
            std::cout << "Warning: " << wanted << " is deprecated and should no longer be used."
                      << std::endl;
            if (row.advice) std::cout << row.advice << std::endl;
        }
        return row.create();
    }
    return nullptr;
}

__attribute__((visibility("default"))) int64_t get_loading_timestamp() {
    return g_loadingTime;
}

}  // extern "C"

static_assert(
    [] {
        bool seen[LISTED] = {};
        int count = 0;
        for (const SFactoryRow& row : FACTORY) {
            if (row.listed < 0) continue;
            if (row.listed >= LISTED || seen[row.listed]) return false;
            seen[row.listed] = true;
            ++count;
        }
        return count == LISTED;
    }(),
    "every place 0 to 50 of ListPlugins holds exactly one name");
