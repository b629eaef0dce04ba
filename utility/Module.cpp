// The module's entry points: the list of its nodes, the factory that makes them by name, and
// the time it was loaded.
#include <cstring>
#include <ctime>
#include <iostream>
#include <new>
#include <string>

#include "PAddMetaData.h"
#include "PConvertType.h"
#include "PCopyImage.h"
#include "PGetImageAttributes.h"
#include "PHough.h"
#include "PImageInfo.h"
#include "PMerge.h"
#include "PNormalize.h"
#include "PRadon.h"
#include "PRayMaximum.h"
#include "PRayMinimum.h"
#include "PReadASCII.h"
#include "PReadImage.h"
#include "PReplaceNonFinite.h"
#include "PReplaceValue.h"
#include "PSaveASCII.h"
#include "PSaveImage.h"
#include "PSelectImage.h"
#include "PSelectPixel.h"
#include "PSetImageAttributes.h"
#include "PSleep.h"
#include "PSort.h"
#include "PStaticImage.h"
#include "PStaticStorage.h"
#include "PStringToImage.h"
#include "PTimerStart.h"
#include "PTimerStop.h"

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

using enum EnKind;

// Every name the factory accepts, in the order it tests them.
constexpr SFactoryRow FACTORY[] = {
    {"ConvertType", Make<CPConvertType>, CURRENT, 0},
    {"Sleep", Make<CPSleep>, CURRENT, 40},
    {"Normalize", Make<CPNormalize>, CURRENT, 1},
    {"CurveIndex", nullptr, CURRENT, 2},
    {"ReadImage", Make<CPReadImage>, CURRENT, 3},
    {"CopyImage", Make<CPCopyImage>, CURRENT, 4},
    {"ExpandBox", nullptr, DEPRECATED, -1},
    {"ReplaceValue", Make<CPReplaceValue>, CURRENT, 5},
    {"ReplaceNonFinite", Make<CPReplaceNonFinite>, CURRENT, 6},
    {"ImageInfo", Make<CPImageInfo>, CURRENT, 7},
    {"MutualInformation", nullptr, CURRENT, 8},
    {"Projection", nullptr, CURRENT, 9},
    {"NormalizeLine", nullptr, DEPRECATED, -1},
    {"FindRectangle", nullptr, DEPRECATED, -1},
    {"FindAndCutRectangle", nullptr, DEPRECATED, -1},
    {"Labeling", nullptr, CURRENT, 10},
    {"Merge", Make<CPMerge>, DEPRECATED, -1},
    {"Hough", Make<CPHough>, CURRENT, 11},
    {"PaintMarks", nullptr, CURRENT, 12},
    {"ReadASCII", Make<CPReadASCII>, CURRENT, 13},
    {"SaveASCII", []() -> CPNode* { return new (std::nothrow) CPSaveASCII(false); }, CURRENT,
     42},  // CPSaveASCII in file mode
    {"ImageToString", []() -> CPNode* { return new (std::nothrow) CPSaveASCII(true); }, CURRENT,
     41},  // CPSaveASCII in string mode
    {"Statistics", nullptr, CURRENT, 15},
    {"BoundingBox", nullptr, CURRENT, 14},
    {"DrawString", nullptr, CURRENT, 16},
    {"Histogram", nullptr, CURRENT, 17},
    {"SampleLine", nullptr, CURRENT, 18},
    {"RayMaximum", Make<CPRayMaximum>, CURRENT, 20},
    {"RayMinimum", Make<CPRayMinimum>, CURRENT, 21},
    {"Radon", Make<CPRadon>, CURRENT, 19},
    {"SaveImage", Make<CPSaveImage>, CURRENT, 43},
    {"FillWithValue", nullptr, DEPRECATED, -1},
    {"MeanValueDifference", nullptr, DEPRECATED, -1},
    {"ConvexHull", nullptr, CURRENT, 22},
    {"Script", nullptr, CURRENT, 23},
    {"ZoneList", nullptr, CURRENT, 25},
    {"Sort", Make<CPSort>, CURRENT, 24},
    {"TimerStart", Make<CPTimerStart>, CURRENT, 26},
    {"TimerStop", Make<CPTimerStop>, CURRENT, 27},
    {"FindMax", nullptr, CURRENT, 28},
    {"FindBalancePoint", nullptr, CURRENT, 30},
    {"DrawCircle", nullptr, DEPRECATED, -1, "We recommend to use Data::Circle instead!"},
    {"HoughCircle", nullptr, CURRENT, 29},
    {"HoughCircleTJ", nullptr, ALTERNATIVE, -1},  // CPTJHoughCircle
    {"SelectImage", Make<CPSelectImage>, CURRENT, 31},
    {"SelectPixel", Make<CPSelectPixel>, CURRENT, 32},
    {"StringToImage", Make<CPStringToImage>, CURRENT, 33},
    {"StaticImage", Make<CPStaticImage>, CURRENT, 34},
    {"StaticStorage", Make<CPStaticStorage>, CURRENT, 35},
    {"ReadMap", nullptr, CURRENT, 44},
    {"RingBuffer", nullptr, CURRENT, 36},
    {"TextSerializer", nullptr, CURRENT, 37},  // CTextSerializerNode("TextSerializerNode")
    {"AddMetaData", Make<CPAddMetaData>, CURRENT, 45},
    {"SamplePoints", nullptr, CURRENT, 46},
    {"Histogram2d", nullptr, CURRENT, 47},
    {"GetImageAttributes", Make<CPGetImageAttributes>, CURRENT, 48},
    {"SetImageAttributes", Make<CPSetImageAttributes>, CURRENT, 49},
    {"GetCoordinates", nullptr, CURRENT, 50},
    {"StringManipulation", nullptr, CURRENT, 38},
    {"PixelLabel", nullptr, CURRENT, 39},
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
