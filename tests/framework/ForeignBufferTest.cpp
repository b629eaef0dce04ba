#include <gtest/gtest.h>

#include <functional>

#include "tarsel.h"

using namespace ORVA;

namespace {

// Foreign memory whose keeper counts its releases.
struct SForeign {
    float samples[7] = {1, 2, 3, 4, 5, 6, 7};
    int releases = 0;
    CBuffer Buffer(size_t offset = 0, size_t count = 6) {
        return CBuffer(reinterpret_cast<uint8_t*>(samples + offset), count * sizeof(float),
                       std::shared_ptr<void>(nullptr, [this](void*) { ++releases; }));
    }
};

}  // namespace

// Each case leads an image over foreign memory through a life and returns the last owner of
// the memory: nothing is released before it goes, and exactly one release after.
TEST(ForeignBuffer, ReleasedOnceWhenTheLastOwnerGoes) {
    using Life = std::function<std::shared_ptr<void>(SForeign&)>;
    const std::pair<const char*, Life> cases[] = {
        {"image",
         [](SForeign& f) {
             return std::make_shared<CImage>(IMAGE_GREY_F, CSize(3, 2), f.Buffer());
         }},
        {"image whose deep copy went first",
         [](SForeign& f) {
             auto image = std::make_shared<CImage>(IMAGE_GREY_F, CSize(3, 2), f.Buffer());
             CImage copy(*image);
             return image;
         }},
        {"image moved into another",
         [](SForeign& f) {
             CImage first(IMAGE_GREY_F, CSize(3, 2), f.Buffer());
             return std::make_shared<CImage>(std::move(first));
         }},
        {"shared pixels of a destroyed image",
         [](SForeign& f) -> std::shared_ptr<void> {
             CImage image(IMAGE_GREY_F, CSize(3, 2), f.Buffer());
             return image.SharePixels();
         }},
        {"image whose shared pixels went first",
         [](SForeign& f) {
             auto image = std::make_shared<CImage>(IMAGE_GREY_F, CSize(3, 2), f.Buffer());
             image->SharePixels().reset();
             return image;
         }},
    };
    for (const auto& [name, life] : cases) {
        SCOPED_TRACE(name);
        SForeign foreign;
        std::shared_ptr<void> last = life(foreign);
        EXPECT_EQ(foreign.releases, 0);
        last.reset();
        EXPECT_EQ(foreign.releases, 1);
    }
}

TEST(ForeignBuffer, UsedInPlaceWithTheSamplesAlignmentOnly) {
    SForeign foreign;
    CImage image(IMAGE_GREY_F, CSize(3, 2), foreign.Buffer(1));  // 4 bytes past the array
    EXPECT_EQ(image.Data<float>(), foreign.samples + 1);
    EXPECT_EQ(image.Data<float>()[5], 7.0f);
    image.Data<float>()[0] = -1.0f;
    EXPECT_EQ(foreign.samples[1], -1.0f);

    CImage copy(image);
    EXPECT_FALSE(copy.Buffer().IsForeign());
    EXPECT_EQ(reinterpret_cast<uintptr_t>(copy.Bytes()) % CBuffer::ALIGNMENT, 0u);
    EXPECT_EQ(copy, image);
    image.Retype(IMAGE_GREY_8);  // new pixels: the foreign ones are let go at once
    EXPECT_EQ(foreign.releases, 1);
}

TEST(ForeignBuffer, RejectsMemoryThatDoesNotFitTheImage) {
    SForeign foreign;
    uint8_t* misaligned = reinterpret_cast<uint8_t*>(foreign.samples) + 2;
    auto keeper = std::make_shared<int>(0);
    struct SCase {
        const char* name;
        std::function<void()> make;
    };
    const SCase cases[] = {
        {"too few bytes", [&] { CImage(IMAGE_GREY_F, CSize(4, 2), foreign.Buffer()); }},
        {"too many bytes", [&] { CImage(IMAGE_GREY_F, CSize(5, 1), foreign.Buffer()); }},
        {"misaligned floats",
         [&] { CImage(IMAGE_GREY_F, CSize(2, 1), CBuffer(misaligned, 8, keeper)); }},
        {"no keeper", [&] { CBuffer(reinterpret_cast<uint8_t*>(foreign.samples), 4, nullptr); }},
        {"no memory", [&] { CBuffer(nullptr, 4, keeper); }},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_THROW(c.make(), CException);
    }
    // Bytes need no alignment, and a misaligned buffer is released like any other.
    EXPECT_EQ(CImage(IMAGE_GREY_8, CSize(8, 1), CBuffer(misaligned, 8, keeper)).Bytes(),
              misaligned);
    EXPECT_EQ(keeper.use_count(), 1);
    EXPECT_EQ(foreign.releases, 2);
}

TEST(ForeignBuffer, SharedFrameworkPixelsStayWhereTheyAre) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_16, CSize(2, 2));
    image->Data<uint16_t>()[3] = 513;
    const uint8_t* before = image->Bytes();
    std::shared_ptr<uint8_t> pixels = image->SharePixels();
    EXPECT_EQ(pixels.get(), before);
    EXPECT_EQ(image->Bytes(), before);
    EXPECT_EQ(image->SharePixels().get(), before);  // sharing again shares the same bytes
    image.reset();
    EXPECT_EQ(reinterpret_cast<const uint16_t*>(pixels.get())[3], 513);
}
