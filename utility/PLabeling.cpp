#include "PLabeling.h"

#include <iostream>
#include <new>

namespace ORVA {

void CPLabeling::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "LabelImage", "Labeling");
    doc.Brief("Labels the connected components of an image.",
              "Every connected region of pixels with one and the same non-zero value gets its own "
              "label 1 to n, numbered in the order in which the regions first occur row by row. "
              "The value 0 is background. Each slice of a multi-plane image is processed "
              "independently, with labels starting again at 1. An IMAGE_GREY_8 output keeps the "
              "low 8 bits of each label, so labels above 255 wrap around; use upcast to keep "
              "them.");
    doc.Note("only available for 2d images");
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Output(0,
               "Label image of the size of the input, of the input's type or of type "
               "IMAGE_GREY_F with upcast.");
    doc.Parameter("neighbourhood", m_neighbourhood,
                  "neighbourhood of a pixel, valid entries are 4 and 8. By default it is set to 4")
        .Fallback(4)
        .OneOf({4, 8});
    doc.Parameter("upcast", m_upcast,
                  "Indicates whether the output image is cast to float. By default it is set to "
                  "false.")
        .Fallback(false)
        .Toggle();
    doc.Parameter("verbose", m_verbose, "print function feedback to log area.")
        .Fallback(false)
        .Toggle();
    doc.DocumentationOnly("out]", "image", "the label image", false);
    doc.DocumentationOnly("in]", "image", "the image to label", false);
    doc.Keywords({"labeling", "conneced components", "segmentation", "objects", "labels"});
}

void CPLabeling::Run() {
    const char* where = "(utility plugins) Labeling::Run";
    const CImage* input = InputImage(0, {.where = where, .notImage = "input image is NULL"});
    const CSize size = input->Size();
    if (size.IsEmpty()) {
        // An empty input first gets a blank stand-in, which the empty label image below replaces.
        std::cerr << "PLabeling: empty image " << std::endl;
        SetStackOutput(0, OwnedImage(std::make_unique<CImage>(input->Type(), CSize(100, 100))));
    }
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException("Labeling::Run",
                         "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    auto output = std::make_unique<CImage>(m_upcast ? IMAGE_GREY_F : input->Type(), size,
                                           CSize(0, 0, 0), CImage::NoInit{});
    if (m_neighbourhood != 4 && m_neighbourhood != 8)
        throw CException("Labeling::Run",
                         CString("%1-neighbourhood not implemented").Arg(m_neighbourhood));

    uint64_t regions = 0;
    try {
        DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
            input->Type(), [&]<class In>(std::type_identity<In>) {
                const In* in = input->Data<In>();
                int neighbourhood = static_cast<int>(m_neighbourhood);
                if (m_upcast)
                    regions = m_labeller.Label(in, output->Data<float>(), size, neighbourhood);
                else
                    regions = m_labeller.Label(in, output->Data<In>(), size, neighbourhood);
            });
    } catch (const std::bad_alloc&) {
        throw CException(
            where, CString("not enough memory to label an image of size %1").Arg(size.ToString()));
    }
    if (m_verbose) std::cout << "number of regions: " << regions << std::endl;
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
