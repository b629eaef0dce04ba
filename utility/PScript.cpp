#include "PScript.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <set>

#include "base/Interrupt.h"
#include "support/Process.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) Script::Run";
constexpr const char* SAVE_ASCII = "%ORVADIR%/bin/utility::SaveASCII";
constexpr const char* READ_ASCII = "%ORVADIR%/bin/utility::ReadASCII";
constexpr const char* DEFAULT_COMMAND =
    "sh \"%ORVADIR%/examples/scripts/invert.sh\" %IN0% %OUT0% 255";
// Placeholders name pins 0 to 99.
constexpr int PINS = 100;
// Nine significant digits read back as the same float.
constexpr int FLOAT_DIGITS = 9;

bool IsNameChar(char c) {
    return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsDigits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

struct SPlaceholder {
    bool output;
    int pin;
};

// %IN<i>% and %OUT<i>%; other names are environment variables.
std::optional<SPlaceholder> ParsePlaceholder(std::string_view name) {
    bool output = name.starts_with("OUT");
    if (!output && !name.starts_with("IN")) return std::nullopt;
    std::string_view digits = name.substr(output ? 3 : 2);
    if (!IsDigits(digits)) return std::nullopt;
    if (digits.size() > 2)
        throw CException(LOCATION, CString("%%1% names a pin beyond %2: a script has pins 0 to %2")
                                       .Arg(name)
                                       .Arg(PINS - 1));
    return SPlaceholder{output, std::stoi(std::string(digits))};
}

// `word` with each placeholder replaced by what `path` gives for it and each other %NAME% by
// the environment variable, with the rules of CStringTools::UnwrapEnvVars ("%%" is one '%').
// One pass, so that neither a path nor a variable's value is searched again.
template <class Path>
std::string Expand(std::string_view word, Path&& path) {
    std::string result;
    size_t i = 0;
    while (i < word.size()) {
        size_t close = word[i] == '%' ? word.find('%', i + 1) : std::string_view::npos;
        std::string_view name = close == std::string_view::npos ? std::string_view()
                                                                : word.substr(i + 1, close - i - 1);
        if (close == i + 1) {
            result.push_back('%');
            i += 2;
        } else if (name.empty() || !std::all_of(name.begin(), name.end(), IsNameChar)) {
            result.push_back(word[i++]);
        } else {
            if (std::optional<SPlaceholder> placeholder = ParsePlaceholder(name))
                result += path(*placeholder);
            else
                result += CStringTools::UnwrapEnvVars(word.substr(i, close - i + 1));
            i = close + 1;
        }
    }
    return result;
}

// A file name as SaveASCII and ReadASCII take it: they expand variables, so '%' is doubled.
std::string Literal(const std::string& path) {
    return CString(path).Replace("%", "%%");
}

// Writes input `pin` where the command expects it: an image as a text matrix through
// SaveASCII, a number, bool or string as its text.
void WriteInput(const CValue& input, const std::string& path, int pin) {
    if (HoldsType<CImage>(&input)) {
        CImage* image = UnwrapPointer<CImage>(&input, LOCATION);
        if (!image) throw CException(LOCATION, CString("input %1 holds no image").Arg(pin));
        try {
            RunPlugin(SAVE_ASCII, value(std::make_unique<CValuePointer<CImage>>(image)),
                      param("filename", Literal(path)), param("precision", FLOAT_DIGITS),
                      param("base_type", "dec"), param("text", ""), param("append", false));
        } catch (const CException& error) {
            throw CException(LOCATION, CString("input %1 cannot be written as a text matrix: %2")
                                           .Arg(pin)
                                           .Arg(error.Message()));
        }
        return;
    }
    std::string text;
    switch (input.GenericType()) {
        case CValue::VAL_LONG:
        case CValue::VAL_DOUBLE:  // the shortest text that reads back exactly
            text = input.String() + "\n";
            break;
        case CValue::VAL_BOOL:
            text = input.Bool() ? "1\n" : "0\n";
            break;
        case CValue::VAL_STRING:
            text = input.String();
            break;
        default:
            throw CException(LOCATION, CString("input %1 holds a %2; a script takes images, "
                                               "numbers, bools and strings")
                                           .Arg(pin)
                                           .Arg(TypeName(input.Type())));
    }
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw CException(LOCATION, CString("cannot write input %1 to '%2'").Arg(pin).Arg(path));
}

// Reads the file of %OUT<pin>% through ReadASCII.
std::unique_ptr<CValue> ReadOutput(const std::string& path, int pin, const SProcessExit& exit,
                                   bool keep) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw CException(
            LOCATION, CString("the command wrote no file for %OUT%1% ('%2').").Arg(pin).Arg(path) +
                          ErrorEnd(exit.errorTail));
    value_list read;
    try {
        read = RunPlugin(READ_ASCII, param("filename", Literal(path)),
                         param("separator", "WHITE_SPACE"), param("run_once", false));
    } catch (const CException& failure) {
        throw CException(LOCATION,
                         CString("the file of %OUT%1% cannot be read as a text matrix: %2")
                             .Arg(pin)
                             .Arg(failure.Message()));
    }
    if (read.empty() || read[0].empty())
        throw CException(LOCATION, CString("ReadASCII gave no image for %OUT%1%").Arg(pin));
    // Shares the image with the result list, which goes at once.
    std::unique_ptr<CValue> image = read[0]->CloneUnique(OWNERSHIP_SHALLOW);
    // The file is gone after the run.
    if (CImage* pixels = UnwrapPointer<CImage>(image.get(), LOCATION); pixels && !keep)
        pixels->Attributes().RemoveEntry("image_path");
    return image;
}

// The file of a placeholder in the run's directory.
std::string PinFile(const CTemporaryDirectory& directory, const SPlaceholder& placeholder) {
    return directory.Path() + (placeholder.output ? "/out" : "/in") +
           std::to_string(placeholder.pin) + ".txt";
}

}  // namespace

CPScript::CPScript()
    : m_command(DEFAULT_COMMAND), m_timeout(60.0), m_keepFiles(false), m_verbose(false) {}

void CPScript::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Script").KeepsState();
    doc.Brief(
        "Runs an external program on temporary text files.",
        "Each input that \"command\" names as %IN0%, %IN1%, ... is written to a new file in a "
        "private temporary directory: an image as a text matrix (SaveASCII, floats with 9 "
        "digits, so they read back exactly), a number as its shortest exact text, a bool as 1 "
        "or 0, a string as it is. %OUT0%, %OUT1%, ... name files the program is to write; "
        "after it ends, each is read as a text matrix (ReadASCII) onto output 0, 1, ... as an "
        "IMAGE_GREY_F image. Any pin from 0 to 99 can be used.\n"
        "The command is split into words as a shell does (blanks part them; '...', \"...\" and "
        "a backslash keep blanks and quotes), then in each word the placeholders and "
        "environment variables (%ORVADIR%, %HOME%; %% is a single %) are replaced. It runs "
        "without a shell, in the current directory, so no file name and no value can ever "
        "become a command; write \"sh -c '...'\" where pipes or redirections are wanted. The "
        "first word is looked up in PATH unless it holds a '/'. Standard input is empty, "
        "standard output and standard error are those of the host.\n"
        "A program that exits with a status other than 0, is ended by a signal or runs longer "
        "than \"timeout\" (it is then killed with every process it started) fails the node, "
        "and the message carries the end of its standard error; so does an output file it did "
        "not write. The temporary directory is removed afterwards, also on failure, unless "
        "\"keep_files\" is set.");
    doc.Note(
        "The shipped example examples/scripts/invert.sh inverts a matrix with awk; the graph "
        "examples/script.json runs it on the sample image. Images of types that SaveASCII "
        "cannot write (IMAGE_GREY_64, IMAGE_GREY_D, colour, IMAGE_BINARY_BG) are refused: "
        "convert them with ConvertType first.");
    // Pins beyond these work alike.
    for (int pin = 0; pin < 3; ++pin)
        doc.Input(pin,
                  CString("Value written to %IN%1%: an image of type IMAGE_GREY_F, IMAGE_GREY_8, "
                          "IMAGE_GREY_16, IMAGE_GREY_32 or IMAGE_BINARY_FG, a number, a bool or a "
                          "string.")
                      .Arg(pin),
                  CSetupDocument::PIN_VALUE)
            .Optional();
    for (int pin = 0; pin < 3; ++pin)
        doc.Output(pin, CString("The file %OUT%1% read as an IMAGE_GREY_F image.").Arg(pin));
    doc.Parameter("command", m_command,
                  "the program and its arguments, with %IN0%, %OUT0%, ... for the files");
    // Read as "double or long", documented as "double" as it always was.
    doc.Parameter("timeout", m_timeout,
                  "seconds the program may run before it is killed; 0 or less waits for ever")
        .DoubleOrLong()
        .Type("double");
    doc.Parameter("keep_files", m_keepFiles,
                  "keep the temporary directory and print its path, to look at the files")
        .Toggle();
    doc.Parameter("verbose", m_verbose, "print the command as it is run, and its duration")
        .Toggle()
        .Order(98);
    // A missing key keeps the switch; reading it clears the has-run flag all the same.
    doc.Parameter("run_once", m_runOnce,
                  "run the program only on the first run after the parameters are set")
        .Fallback(m_runOnce.Enabled())
        .Toggle()
        .Order(99);
    doc.Keywords(
        {"script", "external", "program", "command", "process", "shell", "python", "call"});
    doc.SeeAlso("SaveASCII, ReadASCII, ConvertType");
    doc.Example("StringToImage ! Script");
}

void CPScript::Run() {
    if (m_runOnce.Skip()) return;
    std::vector<std::string> words = SplitCommand(m_command, LOCATION);
    if (words.empty()) throw CException(LOCATION, "the command is empty");
    std::set<int> inputs, outputs;
    for (const std::string& word : words)
        Expand(word, [&](const SPlaceholder& placeholder) {
            (placeholder.output ? outputs : inputs).insert(placeholder.pin);
            return std::string();
        });
    for (int pin : inputs) {
        const CValue* input = GetStackInput(pin, false);
        if (!input || input->GenericType() == CValue::VAL_NULL)
            throw CException(LOCATION,
                             CString("the command uses %IN%1% but input %1 is empty").Arg(pin));
    }

    // A signal to the host stops the command; the directory goes before this does.
    CInterruptible interruptible;
    CTemporaryDirectory directory("orva-script", m_keepFiles, "Script: the files are kept in ",
                                  LOCATION);
    for (int pin : inputs)
        WriteInput(*GetStackInput(pin, false), PinFile(directory, {false, pin}), pin);
    std::vector<std::string> arguments;
    for (const std::string& word : words)
        arguments.push_back(Expand(word, [&](const SPlaceholder& placeholder) {
            return PinFile(directory, placeholder);
        }));
    if (m_verbose) {
        std::cout << "Script: running";
        for (const std::string& argument : arguments)
            std::cout << ' ' << ShellQuoted(argument);
        std::cout << std::endl;
    }

    auto start = std::chrono::steady_clock::now();
    SProcessExit exit = RunProcess(arguments, m_timeout, LOCATION);
    if (m_verbose)
        std::cout
            << "Script: the command took "
            << FormatNumber(
                   std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
                   3)
            << " s" << std::endl;
    if (exit.interrupted) {
        const int signal = InterruptSignal();
        throw CException(LOCATION, signal ? CString("interrupted by signal %1 (%2): the command "
                                                    "was stopped")
                                                .Arg(signal)
                                                .Arg(strsignal(signal))
                                          : CString("interrupted: the command was stopped"));
    }
    if (exit.timedOut)
        throw CException(
            LOCATION,
            CString("the command did not end within %1 s and was killed.").Arg(m_timeout) +
                ErrorEnd(exit.errorTail));
    if (exit.signal != 0)
        throw CException(LOCATION, CString("the command was ended by signal %1 (%2).")
                                           .Arg(exit.signal)
                                           .Arg(strsignal(exit.signal)) +
                                       ErrorEnd(exit.errorTail));
    if (exit.status != 0)
        throw CException(LOCATION, CString("the command exited with status %1.").Arg(exit.status) +
                                       ErrorEnd(exit.errorTail));

    // Outputs are set only when every file could be read.
    std::vector<std::pair<int, std::unique_ptr<CValue>>> results;
    for (int pin : outputs)
        results.emplace_back(pin,
                             ReadOutput(PinFile(directory, {true, pin}), pin, exit, m_keepFiles));
    for (auto& [pin, result] : results)
        SetStackOutput(pin, std::move(result));
    m_runOnce.MarkDone();
}

}  // namespace ORVA
