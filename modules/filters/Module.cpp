// The filters module's entry points: the list of its nodes and the factory that makes them.
#include "PArithmetic.h"
#include "PBlend.h"
#include "PBoxBlur.h"
#include "PCanny.h"
#include "PColorToGrey.h"
#include "PConvolve.h"
#include "PCrop.h"
#include "PDistanceTransform.h"
#include "PFlip.h"
#include "PGaussianBlur.h"
#include "PGreyToColor.h"
#include "PInvert.h"
#include "PLaplacian.h"
#include "PMedianBlur.h"
#include "PMorphology.h"
#include "PPad.h"
#include "PRegionProperties.h"
#include "PResize.h"
#include "PRotate90.h"
#include "PScharr.h"
#include "PSobel.h"
#include "PThreshold.h"
#include "PTranspose.h"

namespace {

using namespace ORVA::Filters;

// One row per line, in the order ListPlugins gives.
// clang-format off
constexpr ORVA::SModuleNode NODES[] = {
    {"Threshold", ORVA::MakeNode<CPThreshold>},
    {"GaussianBlur", ORVA::MakeNode<CPGaussianBlur>},
    {"MedianBlur", ORVA::MakeNode<CPMedianBlur>},
    {"Morphology", ORVA::MakeNode<CPMorphology>},
    {"Arithmetic", ORVA::MakeNode<CPArithmetic>},
    {"Invert", ORVA::MakeNode<CPInvert>},
    {"Resize", ORVA::MakeNode<CPResize>},
    {"Crop", ORVA::MakeNode<CPCrop>},
    {"Flip", ORVA::MakeNode<CPFlip>},
    {"Transpose", ORVA::MakeNode<CPTranspose>},
    {"Rotate90", ORVA::MakeNode<CPRotate90>},
    {"Pad", ORVA::MakeNode<CPPad>},
    {"BoxBlur", ORVA::MakeNode<CPBoxBlur>},
    {"Sobel", ORVA::MakeNode<CPSobel>},
    {"Scharr", ORVA::MakeNode<CPScharr>},
    {"Laplacian", ORVA::MakeNode<CPLaplacian>},
    {"Canny", ORVA::MakeNode<CPCanny>},
    {"DistanceTransform", ORVA::MakeNode<CPDistanceTransform>},
    {"RegionProperties", ORVA::MakeNode<CPRegionProperties>},
    {"ColorToGrey", ORVA::MakeNode<CPColorToGrey>},
    {"GreyToColor", ORVA::MakeNode<CPGreyToColor>},
    {"Blend", ORVA::MakeNode<CPBlend>},
    {"Convolve", ORVA::MakeNode<CPConvolve>},
};
// clang-format on

}  // namespace

ORVA_MODULE_ENTRY_POINTS(NODES)
