#include "codecs/Pnm.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace ORVA {

namespace {

bool IsBlank(uint8_t c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// The numbers of a PGM/PPM after its magic: header fields and text samples, each after blanks
// and '#' comments.
class CPnmNumbers {
  public:
    enum EnToken { NUMBER, END, OTHER, TOO_LARGE };

    // With `whole` false the bytes are the start of a longer file: a number or comment that
    // reaches their end may go on, and is END.
    CPnmNumbers(const uint8_t* data, size_t size, bool whole)
        : m_data(data), m_size(size), m_whole(whole) {}

    EnToken Next(uint64_t& value) {
        for (;;) {
            while (m_position < m_size && IsBlank(m_data[m_position]))
                ++m_position;
            if (m_position >= m_size || m_data[m_position] != '#') break;
            while (m_position < m_size && m_data[m_position] != '\n' && m_data[m_position] != '\r')
                ++m_position;
        }
        if (m_position >= m_size) return END;
        if (!IsDigit(m_position)) return OTHER;
        value = 0;
        while (m_position < m_size && IsDigit(m_position)) {
            value = value * 10 + (m_data[m_position++] - '0');
            if (value > UINT32_MAX) return TOO_LARGE;
        }
        return m_position == m_size && !m_whole ? END : NUMBER;
    }
    // The byte Next stopped at.
    uint8_t Current() const { return m_data[m_position]; }
    size_t Position() const noexcept { return m_position; }
    void Skip() noexcept { ++m_position; }

  private:
    bool IsDigit(size_t at) const { return m_data[at] >= '0' && m_data[at] <= '9'; }

    const uint8_t* m_data;
    size_t m_size;
    size_t m_position = 2;
    bool m_whole;
};

class CPnmParser {
  public:
    explicit CPnmParser(const SDecoding& file)
        : m_file(file), m_numbers(file.data, file.size, true) {}

    std::unique_ptr<CImage> Decode();

  private:
    [[noreturn]] void Fail(const std::string& reason) const {
        DecodeFailed(m_file, EnImageFormat::PNM, reason);
    }
    // The next number; a missing or malformed one fails, naming `what` it is.
    uint64_t Number(const char* what);
    template <class T>
    void ReadText(T* out, size_t samples, uint32_t maximum);

    const SDecoding& m_file;
    CPnmNumbers m_numbers;
};

uint64_t CPnmParser::Number(const char* what) {
    uint64_t value = 0;
    switch (m_numbers.Next(value)) {
        case CPnmNumbers::NUMBER:
            return value;
        case CPnmNumbers::END:
            Fail(std::string("the file ends before the ") + what);
        case CPnmNumbers::TOO_LARGE:
            Fail(std::string("the ") + what + " is too large");
        case CPnmNumbers::OTHER:
            break;
    }
    uint8_t c = m_numbers.Current();
    Fail(std::string("the ") + what + " is not a number (found '" +
         static_cast<char>(c >= 32 && c < 127 ? c : '?') + "')");
}

template <class T>
void CPnmParser::ReadText(T* out, size_t samples, uint32_t maximum) {
    for (size_t i = 0; i < samples; ++i) {
        uint64_t value = Number("samples end");
        if (value > maximum)
            Fail("sample " + std::to_string(i) + " is " + std::to_string(value) +
                 ", beyond the maximum " + std::to_string(maximum));
        out[i] = static_cast<T>(value);
    }
}

std::unique_ptr<CImage> CPnmParser::Decode() {
    const uint8_t* data = m_file.data;
    const size_t size = m_file.size;
    const char kind = static_cast<char>(data[1]);
    const bool text = kind == '2' || kind == '3';
    const size_t channels = kind == '3' || kind == '6' ? 3 : 1;
    uint64_t width = Number("width"), height = Number("height"), maximum = Number("maximum");
    if (maximum == 0 || maximum > 65535)
        Fail("the maximum sample value is " + std::to_string(maximum) + ", not 1 to 65535");
    CSize plane = PlaneSize(width, height, m_file, EnImageFormat::PNM);
    const bool wide = maximum > 255;
    const size_t samples = static_cast<size_t>(plane.x * plane.y) * channels;
    IImage::CType type = channels == 3 ? IMAGE_RGB_8I : wide ? IMAGE_GREY_16 : IMAGE_GREY_8;
    size_t position = m_numbers.Position();
    if (!text) {
        // One blank parts the header from the samples.
        if (position >= size || !IsBlank(data[position]))
            Fail("no blank follows the maximum sample value");
        ++position;
        size_t bytes = samples * (wide ? 2 : 1);
        if (size - position < bytes)
            Fail("the file ends early: it holds " + std::to_string(size - position) +
                 " bytes of samples, the header promises " + std::to_string(bytes));
    } else if ((size - position) / 2 + 1 < samples) {
        // A text sample takes a digit and a blank at least.
        Fail("the file ends early: its " + std::to_string(size - position) +
             " bytes of text cannot hold the " + std::to_string(samples) +
             " samples the header promises");
    }
    std::unique_ptr<CImage> image = NewImage(type, plane, m_file);
    const uint8_t* in = data + position;
    if (!wide) {
        uint8_t* out = image->Bytes();
        if (text) {
            ReadText(out, samples, static_cast<uint32_t>(maximum));
        } else {
            std::memcpy(out, in, samples);
            if (maximum < 255)
                for (size_t i = 0; i < samples; ++i)
                    if (out[i] > maximum)
                        Fail("sample " + std::to_string(i) + " is " + std::to_string(out[i]) +
                             ", beyond the maximum " + std::to_string(maximum));
        }
        return image;
    }
    // 16-bit samples are big-endian in the file; colour is scaled to 8 bits.
    std::unique_ptr<uint16_t[]> scratch;
    uint16_t* out = channels == 1 ? image->Data<uint16_t>() : nullptr;
    if (!out) {
        scratch.reset(new uint16_t[samples]);
        out = scratch.get();
    }
    if (text) {
        ReadText(out, samples, static_cast<uint32_t>(maximum));
    } else {
        for (size_t i = 0; i < samples; ++i)
            out[i] = static_cast<uint16_t>(in[2 * i] << 8 | in[2 * i + 1]);
        if (maximum < 65535)
            for (size_t i = 0; i < samples; ++i)
                if (out[i] > maximum)
                    Fail("sample " + std::to_string(i) + " is " + std::to_string(out[i]) +
                         ", beyond the maximum " + std::to_string(maximum));
    }
    if (scratch) {
        uint8_t* bytes = image->Bytes();
        for (size_t i = 0; i < samples; ++i)
            bytes[i] = To8(out[i], static_cast<uint32_t>(maximum));
    }
    return image;
}

}  // namespace

std::unique_ptr<CImage> DecodePnm(const SDecoding& file) {
    if (DetectImageFormat(file.data, file.size) != EnImageFormat::PNM)
        DecodeFailed(file, EnImageFormat::PNM, "it does not begin with P2, P3, P5 or P6");
    return CPnmParser(file).Decode();
}

void EncodePnm(const CImage& image, CDestination& destination) {
    const bool wide = image.Type() == IMAGE_GREY_16;
    std::FILE* file = destination.Open();
    std::fprintf(file, "P%c\n%lld %lld\n%d\n", image.Type().IsColour() ? '6' : '5',
                 static_cast<long long>(image.Size().x), static_cast<long long>(image.Size().y),
                 wide ? 65535 : 255);
    bool written = true;
    if (!wide) {
        written = std::fwrite(image.Bytes(), 1, image.ByteCount(), file) == image.ByteCount();
    } else {
        // Big-endian samples, a block at a time.
        const uint16_t* samples = image.Data<uint16_t>();
        std::vector<uint8_t> block(1 << 16);
        for (int64_t i = 0; i < image.Samples() && written;) {
            size_t count =
                std::min<size_t>(block.size() / 2, static_cast<size_t>(image.Samples() - i));
            for (size_t k = 0; k < count; ++k) {
                block[2 * k] = static_cast<uint8_t>(samples[i + static_cast<int64_t>(k)] >> 8);
                block[2 * k + 1] = static_cast<uint8_t>(samples[i + static_cast<int64_t>(k)]);
            }
            written = std::fwrite(block.data(), 1, 2 * count, file) == 2 * count;
            i += static_cast<int64_t>(count);
        }
    }
    if (!written || std::ferror(file)) destination.Fail(std::strerror(errno));
}

std::optional<size_t> PnmExtent(const uint8_t* data, size_t size) {
    if (size < 3) return std::nullopt;
    const char kind = static_cast<char>(data[1]);
    if (kind == '2' || kind == '3') return std::nullopt;  // text runs to the end
    CPnmNumbers numbers(data, size, false);
    uint64_t fields[3];
    for (uint64_t& field : fields) {
        CPnmNumbers::EnToken token = numbers.Next(field);
        if (token == CPnmNumbers::END) return std::nullopt;
        if (token != CPnmNumbers::NUMBER) return size;  // for the decoder to refuse
    }
    const auto [width, height, maximum] = fields;
    if (numbers.Position() >= size) return std::nullopt;
    if (maximum == 0 || maximum > 65535 || width * height > uint64_t(MAX_PLANE_PIXELS)) return size;
    const uint64_t samples = width * height * (kind == '6' ? 3 : 1);
    return static_cast<size_t>(numbers.Position() + 1 + samples * (maximum > 255 ? 2 : 1));
}

}  // namespace ORVA
