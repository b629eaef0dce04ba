#include "PSaveASCII.h"

#include <fstream>
#include <iostream>
#include <locale>
#include <new>

#include "codecs/AsciiMatrix.h"

namespace ORVA {

namespace {
// Numbers of the fixed and scientific notations grow with the precision; beyond this they
// would only add zeros to the exact value of a float.
constexpr int32_t MAX_PRECISION = 1000;
}  // namespace

CPSaveASCII::CPSaveASCII(bool toString)
    : m_toString(toString),
      m_filename("NULL"),
      m_append(false),
      m_precision(8),
      m_baseType("dec") {}

void CPSaveASCII::Declare(CSetupDocument& doc) {
    const char* layout =
        "Each row of the image becomes one line, each value followed by a blank; planes of a "
        "3d image are parted by two empty lines, and nothing follows the line end of the last "
        "row. Float values are written with the chosen notation and precision in the C "
        "locale, 8-, 16- and 32-bit values and binary images as unsigned integers.";
    const char* precision = "significant digits of float values; a negative precision means 8";
    const char* input =
        "Input image of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32 or "
        "IMAGE_BINARY_FG.";
    if (m_toString) {
        UtilityIdentity(doc, "Image", "Utility", "ImageToString");
        doc.Brief("Converts an image into a string in the text matrix format.",
                  std::string(layout) + " StringToImage reads the string of a 2d image back.");
        doc.Parameter("precision", m_precision, precision);
        // Read as in the file mode, but left out of this document.
        doc.Undocumented("base_type", m_baseType);
        doc.Input(0, input);
        doc.Output(0, "A string containing the data of input image.", CSetupDocument::PIN_STRING);
        doc.Keywords({"ascii", "text", "string", "convert"});
    } else {
        UtilityIdentity(doc, "In-/Output", "File", "SaveASCII");
        doc.Brief("Writes an image to a text file as a matrix of numbers.",
                  std::string(layout) + " ReadASCII reads the file back.");
        doc.Note(
            "The file name STDOUT writes to standard output and leaves its number format as it "
            "was. The fixed and scientific notations accept a precision of at most 1000.");
        // A missing file name or text is "NULL" or empty, not the current one.
        doc.Parameter("filename", m_filename,
                      "output file; environment variables like %ORVADIR% are expanded; STDOUT "
                      "writes to standard output")
            .Fallback("NULL")
            .Save()
            .Hint("gui/filefilter", std::make_unique<CValueString>(
                                        "ASCII files (*.asc *.txt *.mark *.csv);;All files (*.*)"));
        doc.Parameter("append", m_append, "append to an existing file instead of replacing it")
            .Toggle();
        doc.Parameter("text", m_text,
                      "comment text written before the data; begin it with '#' to have ReadASCII "
                      "read it as a comment")
            .Fallback("");
        doc.Parameter("precision", m_precision, precision);
        doc.Parameter("base_type", m_baseType,
                      "float notation: dec or floatfield (general), fixed or scientific")
            .Values("dec,floatfield,fixed,scientific");
        doc.Input(0, input);
        doc.Keywords({"ascii", "text", "asciifile", "textfile", "store", "save", "write",
                      "harddisc", "export", "output"});
    }
    doc.UndocumentedReadInRun("verbose", CValue::VAL_BOOL);
}

void CPSaveASCII::Run() {
    const char* where =
        m_toString ? "(utility plugins) ImageToString" : "(utility plugins) SaveASCII";
    const CImage* image = InputImage(0, {.where = where, .notImage = "input 0 is not an image"});
    if (!IsMatrixType(image->Type()))
        throw CException(where,
                         "input image is not of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, "
                         "IMAGE_GREY_32, nor IMAGE_MONO_BINARY");
    bool verbose = Parameters().EntryBool("verbose", false);
    auto checkPrecision = [&](const std::ios_base& format) {
        std::ios::fmtflags notation = format.flags() & std::ios::floatfield;
        if (image->Type() == IMAGE_GREY_F && notation != std::ios::fmtflags(0) &&
            format.precision() > MAX_PRECISION)
            throw CException(where, CString("precision %1 is too large for the %2 notation: at "
                                            "most %3 digits are written")
                                        .Arg(m_precision)
                                        .Arg(m_baseType)
                                        .Arg(MAX_PRECISION));
    };

    if (m_toString) {
        if (verbose)
            std::cout << where << ": converting image to string with in " << m_baseType
                      << " notation and precision of " << m_precision << std::endl;
        // A fresh string stream's format, as the notation and precision set it.
        std::ios format(nullptr);
        format.imbue(std::locale::classic());
        ApplyNumberFormat(format, m_baseType, m_precision);
        checkPrecision(format);
        std::string text;
        try {
            text = MatrixText(*image, CNumberWriter(format.flags(), format.precision()));
        } catch (const std::bad_alloc&) {
            throw CException(where, "not enough memory for the text of the image");
        }
        SetStackOutput(0, std::make_unique<CValueString>(std::move(text)));
        return;
    }

    std::string path = CStringTools::UnwrapEnvVars(m_filename);
    if (path == "STDOUT") {
        CStreamFormatGuard guard(std::cout);
        std::cout.imbue(std::locale::classic());
        ApplyNumberFormat(std::cout, m_baseType, m_precision);
        checkPrecision(std::cout);
        WriteMatrix(std::cout, *image, m_text);
        return;
    }
    if (verbose)
        std::cout << where << ": writing image to '" << path << "' in " << m_baseType
                  << " notation and precision of " << m_precision << std::endl;
    std::ofstream file;
    file.imbue(std::locale::classic());
    ApplyNumberFormat(file, m_baseType, m_precision);
    checkPrecision(file);
    file.open(path, m_append ? std::ios::out | std::ios::app : std::ios::out | std::ios::trunc);
    if (!file.is_open())
        throw CException(
            where, CString("Can not open file for writing: '%1' (no permissions?)").Arg(path));
    WriteMatrix(file, *image, m_text);
    if (!file)
        throw CException(
            where, CString("Can not save file: '%1' (no permissions or disk full?)").Arg(path));
    file.close();
}

}  // namespace ORVA
