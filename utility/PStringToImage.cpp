#include "PStringToImage.h"

#include <iostream>

#include "codecs/AsciiMatrix.h"

namespace ORVA {

namespace {
// The identity matrix, its rows parted by backslash-n pairs as a parameter editor shows them.
const char* const DEFAULT_DATA = "1 0 0 \\n 0 1 0 \\n 0 0 1\\n";
}  // namespace

CPStringToImage::CPStringToImage() : m_dataString(DEFAULT_DATA) {}

void CPStringToImage::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Data", "StringToImage");
    doc.Brief(
        "Converts a string holding a matrix of numbers into a float image.",
        "Every line holding numbers is one image row; lines are parted by line feeds or by the "
        "two characters \\n. Empty lines and lines beginning with '#' are skipped, and the "
        "values of a line are read up to the first text that is not a number. Rows of "
        "different lengths print \"inconsistent data\" and give no image.");
    // A missing key gives the identity matrix back, whatever an earlier Run left.
    doc.Parameter("data_string", m_dataString, "the matrix, one row per line")
        .Fallback(DEFAULT_DATA);
    doc.Undocumented("run_once", m_runOnce).Fallback(false);
    doc.Output(0, "Output image of type IMAGE_GREY_F containing the data from the string.");
    doc.Keywords({"string", "text", "matrix", "convert"});
}

void CPStringToImage::Run() {
    if (m_runOnce.Skip()) return;
    // The appended " \n" never reads as a number; a later Run sees it as a blank line.
    m_dataString = CString(m_dataString).Replace("\\n", "\n") + " \\n";
    std::unique_ptr<CImage> image = ReadMatrixString(m_dataString);
    if (!image) {
        std::cout << "inconsistent data" << std::endl;
        return;
    }
    SetStackOutput(0, OwnedImage(std::move(image)));
    m_runOnce.MarkDone();
}

}  // namespace ORVA
