// Writes the sample images examples/images/coconut.txt and coconut.png: a 512 x 384 grey scene
// of coconuts on a dark table, each a region of one grey value, two of them cut open (shell
// ring and flesh), in the ASCII matrix format (.txt) or as an 8-bit grey PNG (.png).
#include <png.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int WIDTH = 512;
constexpr int HEIGHT = 384;

struct Nut {
    double x, y, rx, ry, angle;  // centre, radii and tilt of the shell
    int shell;                   // grey value of the shell
    int flesh;                   // grey value of the inside of an open nut, 0 for a closed one
};

// Inside the ellipse of `nut` scaled by `scale`?
bool Inside(const Nut& nut, double scale, int x, int y) {
    double dx = x - nut.x, dy = y - nut.y;
    double c = std::cos(nut.angle), s = std::sin(nut.angle);
    double u = (dx * c + dy * s) / (nut.rx * scale), v = (-dx * s + dy * c) / (nut.ry * scale);
    return u * u + v * v <= 1.0;
}

bool WriteText(const char* path, const std::vector<int>& image) {
    std::FILE* file = std::fopen(path, "w");
    if (!file) {
        std::perror(path);
        return false;
    }
    std::fprintf(file, "# coconut: %d x %d grey values, eight nuts on a dark table\n", WIDTH,
                 HEIGHT);
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x)
            std::fprintf(file, "%d ", image[y * WIDTH + x]);
        std::fputc('\n', file);
    }
    return std::fclose(file) == 0;
}

bool WritePng(const char* path, const std::vector<int>& image) {
    std::vector<png_byte> bytes(image.begin(), image.end());
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = WIDTH;
    png.height = HEIGHT;
    png.format = PNG_FORMAT_GRAY;
    if (png_image_write_to_file(&png, path, 0, bytes.data(), 0, nullptr)) return true;
    std::fprintf(stderr, "%s: %s\n", path, png.message);
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s OUTPUT.txt|OUTPUT.png ...\n", argv[0]);
        return 2;
    }
    const Nut nuts[] = {
        {80, 90, 52, 44, 0.3, 96, 0},     {210, 70, 40, 38, 0.0, 120, 0},
        {350, 95, 58, 46, -0.4, 104, 0},  {460, 80, 34, 30, 0.8, 140, 0},
        {110, 270, 60, 58, 0.0, 88, 236}, {260, 250, 46, 40, 1.1, 128, 0},
        {400, 275, 64, 60, 0.2, 80, 228}, {300, 350, 18, 14, 0.0, 150, 0},
    };
    std::vector<int> image(WIDTH * HEIGHT, 0);
    for (const Nut& nut : nuts)
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x)
                if (Inside(nut, 1.0, x, y))
                    image[y * WIDTH + x] =
                        nut.flesh && Inside(nut, 0.8, x, y) ? nut.flesh : nut.shell;

    for (int i = 1; i < argc; ++i) {
        std::string path = argv[i];
        bool png = path.size() > 4 && path.compare(path.size() - 4, 4, ".png") == 0;
        if (!(png ? WritePng(argv[i], image) : WriteText(argv[i], image))) return 1;
    }
    return 0;
}
