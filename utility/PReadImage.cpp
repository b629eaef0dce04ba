#include "PReadImage.h"

#include <iostream>

#include "codecs/ImageFiles.h"
#include "support/Files.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) ReadImage::Run";
const char* const RGB_TYPES = "IMAGE_RGB_8I,IMAGE_RGB_8";
}  // namespace

CPReadImage::CPReadImage()
    : m_filename("%ORVADIR%/examples/images/coconut.png"),
      m_rgbType("IMAGE_RGB_8I"),
      m_verbose(false) {}

void CPReadImage::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "In-/Output", "File", "ReadImage");
    doc.Brief(
        "Reads a PNG, TIFF, JPEG, PGM or PPM file into an image.",
        "The format is recognised by the first bytes of the file, whatever its extension. "
        "Samples keep the values stored in the file: grey becomes IMAGE_GREY_8, _16, _32 or "
        "_64 by its bits, IMAGE_GREY_F or IMAGE_GREY_D for float; colour becomes the type "
        "rgb_type names, and 32-bit float colour (TIFF) IMAGE_RGB_FI. 16-bit colour becomes 8 "
        "bits rounded to the nearest integer: v / 257, or v * 255 / maximum for a PPM whose "
        "maximum is below 65535 (OpenCV's imread keeps the high byte instead). Alpha channels "
        "and transparency are dropped, palettes expanded, 1-, 2- and 4-bit grey PNGs scaled to "
        "0..255. The pages of a TIFF become the planes of a 3-D image when they all have one "
        "size and type (reduced-resolution pages are skipped); otherwise reading fails. The "
        "path is kept in the image attribute \"image_path\".");
    doc.Note(
        "PGM/PPM may be binary (P5, P6) or text (P2, P3); a maximum sample value above 255 "
        "means 16-bit samples, big-endian in binary files. Samples above the maximum are an "
        "error. TIFF reads 8-, 16-, 32- and 64-bit unsigned and 32- and 64-bit float grey, 8- "
        "and 16-bit unsigned and 32-bit float RGB, in strips or tiles, contiguous or planar; "
        "bilevel, palette, YCbCr and CMYK pages are read as 8-bit through libtiff's RGBA "
        "reader. White-is-zero integer grey is inverted. Orientation tags are not applied. "
        "JPEG reads grey and RGB (YCbCr), not CMYK.");
    doc.Note(
        "Malformed and truncated files fail with the reason the decoder gives. Like OpenCV, "
        "the reader refuses planes of more than 2^30 pixels before allocating them.");
    doc.Parameter("filename", m_filename,
                  "file to read; environment variables like %ORVADIR% are expanded")
        .Path("Images (*.png *.tif *.tiff *.jpg *.jpeg *.pgm *.ppm *.pnm);; All files (*.*)");
    doc.Parameter("rgb_type", m_rgbType,
                  "pixel type of 8- and 16-bit colour: IMAGE_RGB_8I (interleaved) or "
                  "IMAGE_RGB_8 (planar)")
        .Values(RGB_TYPES);
    doc.Parameter("verbose", m_verbose, "print the format, size and type read to standard output")
        .Toggle()
        .Order(98);
    // A missing key keeps the switch; reading it clears the has-run flag all the same.
    doc.Parameter("run_once", m_runOnce,
                  "read the file only on the first run after the parameters were set")
        .Fallback(m_runOnce.Enabled())
        .Toggle()
        .Order(99);
    doc.Output(0, "Output image: grey, RGB or a 3-D stack of TIFF pages.");
    doc.Keywords(
        {"image", "file", "load", "read", "open", "png", "tiff", "jpeg", "pgm", "ppm", "imread"});
    doc.SeeAlso("SaveImage, ReadASCII");
    doc.UndocumentedReadInRun(AUTOMATIC_LABEL, CValue::VAL_BOOL);
}

void CPReadImage::Run() {
    if (m_runOnce.Skip()) return;
    if (!IsAllowedValue(RGB_TYPES, m_rgbType))
        throw CException(WHERE,
                         "rgb_type is '" + m_rgbType + "', expected IMAGE_RGB_8I or IMAGE_RGB_8");
    std::string path = CPath(CStringTools::UnwrapEnvVars(m_filename)).PathString();
    std::unique_ptr<CImage> image;
    {
        // A stream is read only as far as the file it carries goes.
        CFileBytes file(path, WHERE, ImageFileExtent);
        image = DecodeImage(file.Data(), file.Size(), EnImageFormat::UNKNOWN, path, WHERE,
                            {.bytes = ReadLimit(WHERE)});
        if (m_verbose)
            std::cout << "ReadImage: "
                      << ImageFormatName(DetectImageFormat(file.Data(), file.Size())) << " '"
                      << path << "', " << image->Size().ToString() << " " << image->Type().Name()
                      << std::endl;
    }
    if (image->Type() == IMAGE_RGB_8I && m_rgbType == "IMAGE_RGB_8") {
        auto planar =
            std::make_unique<CImage>(IMAGE_RGB_8, image->Size(), CSize(0, 0, 0), CImage::NoInit{});
        CImageConversion::FastConvert(*planar, *image, false);
        image = std::move(planar);
    }
    image->Attributes().SetEntry("image_path", new CValueString(path));
    SetStackOutput(0, OwnedImage(std::move(image)));
    LabelWithFile(Parameters(), path);
    m_runOnce.MarkDone();
}

}  // namespace ORVA
