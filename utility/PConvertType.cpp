#include "PConvertType.h"

#include <iostream>

#include "algorithms/TypeConversion.h"

namespace ORVA {

namespace {

const char* const WHERE = "ConverType";

const char* const OUTPUT_TYPES =
    "IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_BINARY_FG, IMAGE_RGB_8, IMAGE_RGB_8I, IMAGE_RGB_FI";

}  // namespace

CPConvertType::CPConvertType() : m_outType("IMAGE_GREY_F"), m_swap(false) {}

void CPConvertType::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "ConvertType");
    doc.Brief("Change image type and convert pixel data.",
              "Converts the image data to the specified output type by a simple typecast.\n"
              "Values are carried over unscaled and without saturation: a float becomes a byte "
              "by rounding half away from zero and keeping the low 8 bits of the 32-bit "
              "integer (300.4 gives 44, -1 gives 255, NaN gives 0). Colour becomes grey by "
              "the mean of the three channels, truncated for bytes. Other pairs use the "
              "framework's saturating conversion. With the parameter run_once the node "
              "computes once and returns the same image until it is initialised again.");
    doc.Parameter("out_type", m_outType, "pixel type of the output image")
        .Fallback("IMAGE_GREY_F")
        .Values(OUTPUT_TYPES);
    doc.Undocumented("run_once", m_runOnce).Fallback(false);
    doc.Parameter("swap_msb_lsb", m_swap,
                  "byte order of IMAGE_GREY_16 input samples: false reads the first byte as the "
                  "most significant one, true the second")
        .Fallback(false)
        .Toggle();
    doc.DocumentationOnly("in]", "string", "pDst pointer to destination image", true);
    doc.Input(0,
              "Input image of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
              "IMAGE_RGB_8, IMAGE_RGB_8I or IMAGE_BINARY_FG.");
    doc.Output(0, "Output image of the type given by @a out_type.");
    doc.Keywords({"convert", "typecast grayvalues", "endianess", "little endian", "big endian",
                  "LE", "BE", "MSB", "LSB"});
}

void CPConvertType::NodeInit() {
    CPNode::NodeInit();
    if (!IsAllowedValue(OUTPUT_TYPES, m_outType)) {
        std::cerr << "ConverType"
                  << ": unsupported out type '" << m_outType << "'. "
                  << "resetting type to IMAGE_GREY_F" << std::endl;
        m_outType = "IMAGE_GREY_F";
    }
}

void CPConvertType::Run() {
    if (m_runOnce.Skip()) {
        SetStackOutput(0, std::make_unique<CValuePointer<CImage>>(m_cache.get()));
        return;
    }
    const CImage* input = InputImage(0, {.where = WHERE, .notImage = "input 0 is not an image"});

    const IImage::CType type(m_outType);
    std::unique_ptr<CImage> result;
    if (type == input->Type()) {
        result = std::make_unique<CImage>(*input);
    } else {
        result = std::make_unique<CImage>(type, input->Size(), CSize(0, 0, 0), CImage::NoInit{});
        if (!Conversion::ConvertPixels(*input, *result, m_swap))
            throw CException(WHERE, CString("Cannot convert input image type %1 to output type %2")
                                        .Arg(input->Type().ToString())
                                        .Arg(type.ToString()));
    }

    if (m_runOnce.Enabled()) {
        SetStackOutput(0, std::make_unique<CValuePointer<CImage>>(result.get()));
        m_cache = std::move(result);
    } else {
        m_cache.reset();
        SetStackOutput(0, OwnedImage(std::move(result)));
    }
    m_runOnce.MarkDone();
}

}  // namespace ORVA
