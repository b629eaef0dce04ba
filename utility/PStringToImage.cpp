#include "PStringToImage.h"

#include <iostream>
#include <string_view>

namespace ORVA {

namespace {
// The identity matrix, its rows parted by backslash-n pairs as a parameter editor shows them.
const char* const DEFAULT_DATA = "1 0 0 \\n 0 1 0 \\n 0 0 1\\n";

// Calls `visit` with each data line of `text` (split at line feeds, a last piece only when it
// is not empty), leaving out empty lines and comments; stops when `visit` returns false.
template <class Visit>
void ForEachDataLine(std::string_view text, Visit&& visit) {
    while (!text.empty()) {
        size_t feed = text.find('\n');
        std::string_view line = text.substr(0, feed);
        text.remove_prefix(feed == std::string_view::npos ? text.size() : feed + 1);
        if (line.empty() || line[0] == '#') continue;
        if (!visit(line)) return;
    }
}
}  // namespace

CPStringToImage::CPStringToImage() : m_dataString(DEFAULT_DATA) {}

void CPStringToImage::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Data", "StringToImage");
    doc.Brief(
        "Converts a string holding a matrix of numbers into a float image.",
        "Every line holding numbers is one image row; lines are parted by line feeds or by the "
        "two characters \\n. Empty lines and lines beginning with '#' are skipped, and the "
        "values of a line are read up to the first text that is not a number. Rows of "
        "different lengths print \"inconsistent data\" and give no image.");
    doc.Parameter("data_string", m_dataString, "the matrix, one row per line");
    doc.Output(0, "Output image of type IMAGE_GREY_F containing the data from the string.");
    doc.Keywords({"string", "text", "matrix", "convert"});
    doc.WriteTo(setup);
}

void CPStringToImage::NodeInit() {
    m_runOnce.Reset(false);
    m_dataString = Parameters().EntryString("data_string", DEFAULT_DATA);
    m_runOnce.Reset(Parameters().EntryBool("run_once", false));
}

void CPStringToImage::Run() {
    if (m_runOnce.Skip()) return;
    // The appended " \n" never reads as a number; a later Run sees it as a blank line.
    m_dataString = CString(m_dataString).Replace("\\n", "\n") + " \\n";

    const CFloatReader reader;
    int64_t width = 0, height = 0;
    bool consistent = true;
    ForEachDataLine(m_dataString, [&](std::string_view line) {
        int64_t count = reader.Count(line);
        if (count == 0) return true;
        if (width == 0) width = count;
        consistent = count == width;
        height += consistent ? 1 : 0;
        return consistent;
    });
    if (!consistent) {
        std::cout << "inconsistent data" << std::endl;
        return;
    }

    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(width, height, 1));
    float* out = image->Data<float>();
    const int64_t capacity = image->Pixels();
    int64_t stored = 0;
    ForEachDataLine(m_dataString, [&](std::string_view line) {
        stored += reader.Read(line, out + stored, capacity - stored);
        return true;
    });
    SetStackOutput(0, OwnedImage(std::move(image)));
    m_runOnce.MarkDone();
}

}  // namespace ORVA
