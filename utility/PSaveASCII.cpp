#include "PSaveASCII.h"

#include <fstream>
#include <iostream>
#include <locale>
#include <new>

namespace ORVA {

namespace {
// Numbers of the fixed and scientific notations grow with the precision; beyond this they
// would only add zeros to the exact value of a float.
constexpr int32_t MAX_PRECISION = 1000;

// Restores a stream's format state (flags, precision, width, fill, locale) when it goes.
class CFormatGuard {
  public:
    explicit CFormatGuard(std::ostream& stream)
        : m_stream(stream),
          m_flags(stream.flags()),
          m_precision(stream.precision()),
          m_width(stream.width()),
          m_fill(stream.fill()),
          m_locale(stream.getloc()) {}
    ~CFormatGuard() {
        m_stream.flags(m_flags);
        m_stream.precision(m_precision);
        m_stream.width(m_width);
        m_stream.fill(m_fill);
        m_stream.imbue(m_locale);
    }
    CFormatGuard(const CFormatGuard&) = delete;
    CFormatGuard& operator=(const CFormatGuard&) = delete;

  private:
    std::ostream& m_stream;
    std::ios::fmtflags m_flags;
    std::streamsize m_precision, m_width;
    char m_fill;
    std::locale m_locale;
};
}  // namespace

CPSaveASCII::CPSaveASCII(bool toString)
    : m_toString(toString),
      m_filename("NULL"),
      m_append(false),
      m_precision(8),
      m_baseType("dec") {}

void CPSaveASCII::GetPluginSetup(CValueMap& setup) {
    const char* layout =
        "Each row of the image becomes one line, each value followed by a blank; planes of a "
        "3d image are parted by two empty lines, and nothing follows the line end of the last "
        "row. Float values are written with the chosen notation and precision in the C "
        "locale, 8-, 16- and 32-bit values and binary images as unsigned integers.";
    if (m_toString) {
        CSetupDocument doc = UtilityDocument("Image", "Utility", "ImageToString");
        doc.Brief("Converts an image into a string in the text matrix format.",
                  std::string(layout) + " StringToImage reads the string of a 2d image back.");
        doc.Parameter("precision", m_precision,
                      "significant digits of float values; a negative precision means 8");
        doc.Input(0,
                  "Input image of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32 "
                  "or IMAGE_BINARY_FG.");
        doc.Output(0, "A string containing the data of input image.", CSetupDocument::PIN_STRING);
        doc.Keywords({"ascii", "text", "string", "convert"});
        doc.WriteTo(setup);
        return;
    }
    CSetupDocument doc = UtilityDocument("In-/Output", "File", "SaveASCII");
    doc.Brief("Writes an image to a text file as a matrix of numbers.",
              std::string(layout) + " ReadASCII reads the file back.");
    doc.Note(
        "The file name STDOUT writes to standard output and leaves its number format as it "
        "was. The fixed and scientific notations accept a precision of at most 1000.");
    doc.Parameter("filename", m_filename,
                  "output file; environment variables like %ORVADIR% are expanded; STDOUT "
                  "writes to standard output")
        .Save()
        .Hint("gui/filefilter", std::make_unique<CValueString>(
                                    "ASCII files (*.asc *.txt *.mark *.csv);;All files (*.*)"));
    doc.Parameter("append", m_append, "append to an existing file instead of replacing it")
        .Toggle();
    doc.Parameter("text", m_text,
                  "comment text written before the data; begin it with '#' to have ReadASCII "
                  "read it as a comment");
    doc.Parameter("precision", m_precision,
                  "significant digits of float values; a negative precision means 8");
    doc.Parameter("base_type", m_baseType,
                  "float notation: dec or floatfield (general), fixed or scientific")
        .Values("dec,floatfield,fixed,scientific");
    doc.Input(0,
              "Input image of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32 or "
              "IMAGE_BINARY_FG.");
    doc.Keywords({"ascii", "text", "asciifile", "textfile", "store", "save", "write", "harddisc",
                  "export", "output"});
    doc.WriteTo(setup);
}

void CPSaveASCII::NodeInit() {
    if (!m_toString) {
        m_filename = Parameters().EntryString("filename", "NULL");
        m_text = Parameters().EntryString("text", "");
    }
    m_precision = Parameters().EntryLong("precision", m_precision);
    m_baseType = Parameters().EntryString("base_type", m_baseType);
    if (!m_toString) m_append = Parameters().EntryBool("append", m_append);
}

void ApplyNumberFormat(std::ios_base& stream, const std::string& baseType, int32_t precision) {
    if (baseType == "fixed")
        stream.setf(std::ios::fixed, std::ios::floatfield);
    else if (baseType == "scientific")
        stream.setf(std::ios::scientific, std::ios::floatfield);
    else if (baseType == "dec" || baseType == "floatfield")
        stream.unsetf(std::ios::basefield);
    stream.precision(precision < 0 ? 8 : precision);
}

void CPSaveASCII::Run() {
    const char* where =
        m_toString ? "(utility plugins) ImageToString" : "(utility plugins) SaveASCII";
    const CValue* input = GetStackInput(0, false);
    if (!input) throw CException(where, "input image is NULL");
    if (!HoldsType<CImage>(input)) throw CException(where, "input 0 is not an image");
    const CImage* image = UnwrapInputImage(input, where);
    if (!image) throw CException(where, "input image is NULL");
    using T = IImage::CType;
    auto dispatch = [&](auto&& write) {
        return DispatchType<T::GREY_F, T::GREY_8, T::GREY_16, T::GREY_32, T::BINARY_FG>(
            image->Type(),
            [&]<class Element>(std::type_identity<Element>) { write(image->Data<Element>()); });
    };
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
    if (image->Type() != IMAGE_GREY_F && image->Type() != IMAGE_GREY_8 &&
        image->Type() != IMAGE_GREY_16 && image->Type() != IMAGE_GREY_32 &&
        image->Type() != IMAGE_BINARY_FG)
        throw CException(where,
                         "input image is not of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, "
                         "IMAGE_GREY_32, nor IMAGE_MONO_BINARY");
    bool verbose = Parameters().EntryBool("verbose", false);

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
            dispatch([&](const auto* data) {
                FormatMatrix(data, image->Size(), {},
                             CNumberWriter(format.flags(), format.precision()),
                             [&](const char* piece, size_t length) { text.append(piece, length); });
            });
        } catch (const std::bad_alloc&) {
            throw CException(where, "not enough memory for the text of the image");
        }
        SetStackOutput(0, std::make_unique<CValueString>(std::move(text)));
        return;
    }

    std::string path = CStringTools::UnwrapEnvVars(m_filename);
    if (path == "STDOUT") {
        CFormatGuard guard(std::cout);
        std::cout.imbue(std::locale::classic());
        ApplyNumberFormat(std::cout, m_baseType, m_precision);
        checkPrecision(std::cout);
        dispatch([&](const auto* data) { WriteMatrix(std::cout, data, image->Size(), m_text); });
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
    dispatch([&](const auto* data) { WriteMatrix(file, data, image->Size(), m_text); });
    if (!file)
        throw CException(
            where, CString("Can not save file: '%1' (no permissions or disk full?)").Arg(path));
    file.close();
}

}  // namespace ORVA
