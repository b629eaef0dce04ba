#include "PReadASCII.h"

#include <iostream>

#include "codecs/AsciiMatrix.h"
#include "support/Files.h"

namespace ORVA {

namespace {
const char* const WHERE = "(file plugins) ReadASCII::Run";
}  // namespace

CPReadASCII::CPReadASCII()
    : m_filename("%ORVADIR%/examples/images/coconut.txt"),
      m_separator("WHITE_SPACE"),
      m_verbose(false) {}

void CPReadASCII::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "In-/Output", "File", "ReadASCII");
    doc.Brief(
        "Reads a matrix of numbers from a text file into a float image.",
        "Every line holding numbers is one image row; all rows hold the same number of values, "
        "which is the image width. Two empty lines in a row start a new plane (z direction); "
        "after the first such break a single empty line is enough. Lines beginning with '#' "
        "are comments: they are collected in the image attribute \"comments\", and the file "
        "path is kept in \"image_path\". The values of a line are read up to the first text "
        "that is not a number. The separator is a blank unless another one is chosen; AUTO "
        "guesses it from the first data lines.");
    doc.Note(
        "A directory fails like a missing file, a file that cannot be read to its end with "
        "\"Can not read file\". Numbers beyond the float range end the values of their line.");
    // A missing file name is "NULL", not the current one.
    doc.Parameter("filename", m_filename,
                  "file to read; environment variables like %ORVADIR% are expanded")
        .Fallback("NULL")
        .Path("ASCII files (*.asc *.ascii *.txt *.mark *.csv);; All files (*.*)");
    // A missing key keeps the switch; reading it clears the has-run flag all the same.
    doc.Undocumented("run_once", m_runOnce).Fallback(m_runOnce.Enabled());
    doc.Parameter("separator", m_separator,
                  "separator between values: WHITE_SPACE (blanks and tabs), AUTO (detected), "
                  "COMMA, or the first character of any other text")
        .Values("WHITE_SPACE, AUTO, COMMA, ., /,?,;");
    doc.Parameter("verbose", m_verbose, "print feedback to the log").Toggle();
    // Described, but the switch is read as "run_once".
    doc.DocumentationOnly("run_flag", "bool",
                          "INTERNAL Indicates whether the plugin already run before.", false);
    doc.UndocumentedReadInRun(AUTOMATIC_LABEL, CValue::VAL_BOOL);
    doc.Output(0, "Output image of type IMAGE_GREY_F, 2d or 3d.");
    doc.Keywords({"ascii", "file", "text", "load", "read", "CSV"});
}

void CPReadASCII::Run() {
    if (m_runOnce.Skip()) return;
    std::string path = CPath(CStringTools::UnwrapEnvVars(m_filename)).PathString();
    SMatrixFile matrix = ReadMatrixFile(path, m_separator, m_verbose ? &std::cout : nullptr, WHERE);
    matrix.image->Attributes().SetEntry("comments", new CValueString(std::move(matrix.comments)));
    matrix.image->Attributes().SetEntry("image_path", new CValueString(path));
    SetStackOutput(0, OwnedImage(std::move(matrix.image)));
    LabelWithFile(Parameters(), path);
    m_runOnce.MarkDone();
}

}  // namespace ORVA
