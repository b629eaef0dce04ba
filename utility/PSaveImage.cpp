#include "PSaveImage.h"

#include <algorithm>
#include <iostream>

#include "codecs/ImageFiles.h"
#include "support/Files.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) SaveImage::Run";
const char* const FORMATS = "AUTO,PNG,TIFF,JPEG,PNM";

// The format "format" names, or for "AUTO" the one of the file's extension.
EnImageFormat ChooseFormat(const std::string& choice, const std::string& path) {
    std::string name = choice;
    if (choice == "AUTO") {
        std::string extension = CPath(path).Extension();
        std::transform(extension.begin(), extension.end(), extension.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (extension == ".png") name = "PNG";
        if (extension == ".tif" || extension == ".tiff") name = "TIFF";
        if (extension == ".jpg" || extension == ".jpeg") name = "JPEG";
        if (extension == ".pgm" || extension == ".ppm" || extension == ".pnm") name = "PNM";
        if (name == "AUTO")
            throw CException(WHERE, "the format of '" + path +
                                        "' cannot be told from its extension: expected .png, "
                                        ".tif, .tiff, .jpg, .jpeg, .pgm, .ppm or .pnm, or set "
                                        "format to PNG, TIFF, JPEG or PNM");
    }
    if (!IsAllowedValue(FORMATS, choice))
        throw CException(WHERE,
                         "format is '" + choice + "', expected AUTO, PNG, TIFF, JPEG or PNM");
    return name == "PNG"    ? EnImageFormat::PNG
           : name == "TIFF" ? EnImageFormat::TIFF
           : name == "JPEG" ? EnImageFormat::JPEG
                            : EnImageFormat::PNM;
}
}  // namespace

CPSaveImage::CPSaveImage()
    : m_filename("image.png"),
      m_format("AUTO"),
      m_quality(95),
      m_compression(-1),
      m_verbose(false) {}

void CPSaveImage::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "In-/Output", "File", "SaveImage");
    doc.Brief(
        "Writes an image to a PNG, TIFF, JPEG, PGM or PPM file.",
        "The format follows the extension of the file name (.png, .tif or .tiff, .jpg or "
        ".jpeg, .pgm, .ppm or .pnm) unless format names one. PNG and PGM/PPM hold "
        "IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_RGB_8 and IMAGE_RGB_8I; JPEG holds IMAGE_GREY_8, "
        "IMAGE_RGB_8 and IMAGE_RGB_8I; TIFF holds every grey type, IMAGE_RGB_8, IMAGE_RGB_8I "
        "and IMAGE_RGB_FI, and writes a 3-D image as one page per plane. Any other type fails "
        "with the types the format holds: convert it first with ConvertType. Samples are "
        "written as they are, so ReadImage gives back exactly what PNG, TIFF and PGM/PPM "
        "saved (planar colour comes back as rgb_type asks). An existing file is replaced; a "
        "write that fails leaves no file behind.");
    doc.Note(
        "PGM/PPM is written binary (P5 for grey, P6 for colour, whatever the extension), with "
        "the maximum 65535 for IMAGE_GREY_16. JPEG uses 4:2:0 chroma subsampling for colour.");
    doc.Parameter("filename", m_filename,
                  "file to write; environment variables like %ORVADIR% are expanded")
        .Path(
            "PNG (*.png);; TIFF (*.tif *.tiff);; JPEG (*.jpg *.jpeg);; PGM/PPM (*.pgm *.ppm "
            "*.pnm);; All files (*.*)")
        .Save();
    doc.Parameter("format", m_format, "file format; AUTO takes it from the extension")
        .Values(FORMATS);
    doc.Parameter("quality", m_quality, "JPEG quality, 1 (smallest) to 100 (best)");
    doc.Parameter("compression", m_compression,
                  "-1 for each format's fast default (PNG: zlib level 1, as OpenCV; TIFF: "
                  "none), 0 to 9 for the zlib level of PNG and, for TIFF, none at 0 and "
                  "Deflate with a predictor above")
        .Range(MIN_COMPRESSION, MAX_COMPRESSION);
    doc.Parameter("verbose", m_verbose, "print the file, format, size and type written")
        .Toggle()
        .Order(98);
    // A missing key keeps the switch; reading it clears the has-run flag all the same.
    doc.Parameter("run_once", m_runOnce,
                  "write only on the first run after the parameters were set")
        .Fallback(m_runOnce.Enabled())
        .Toggle()
        .Order(99);
    doc.Input(0, "Input image of a type the format holds, 2-D (3-D for TIFF).");
    doc.Output(0, "The path of the file written.", CSetupDocument::PIN_STRING);
    doc.Keywords({"image", "file", "save", "write", "export", "png", "tiff", "jpeg", "pgm", "ppm",
                  "imwrite"});
    doc.SeeAlso("ReadImage, SaveASCII");
    doc.UndocumentedReadInRun(AUTOMATIC_LABEL, CValue::VAL_BOOL);
}

void CPSaveImage::Run() {
    if (m_runOnce.Skip()) return;
    // An empty pin and a value without an image are told apart.
    if (!GetStackInput(0, false)) throw CException(WHERE, "no input image on pin 0");
    const CImage* image = InputImage(0, {.where = WHERE, .notImage = "input 0 is not an image"});
    std::string path = CPath(CStringTools::UnwrapEnvVars(m_filename)).PathString();
    EnImageFormat format = ChooseFormat(m_format, path);
    SEncodeOptions options;
    options.quality = m_quality;
    options.compression = m_compression;
    EncodeImage(*image, path, format, options, WHERE);
    if (m_verbose)
        std::cout << "SaveImage: " << ImageFormatName(format) << " '" << path << "', "
                  << image->Size().ToString() << " " << image->Type().Name() << std::endl;
    SetStackOutput(0, std::make_unique<CValueString>(path));
    LabelWithFile(Parameters(), path);
    m_runOnce.MarkDone();
}

}  // namespace ORVA
