#pragma once

// The Hough transform for straight lines: an image into an accumulator of (distance from the
// image centre, angle) and lines of an accumulator back into an image. The accumulator has the
// size of its image: one row per angle of the half-turn, one column per distance bin.
#include <cstdint>
#include <vector>

namespace ORVA {

// The sines and cosines of `count` angles over [0, pi): the angle starts at 0 and grows by a
// single-precision step, added (not multiplied) once per entry.
struct SHoughAngles {
    explicit SHoughAngles(int64_t count);
    std::vector<float> sin, cos;
};

// The kernels work on the first plane of their input; the output must start at zero.

// Adds 1 to accumulator (distance bin, angle) for every angle of every pixel greater than 0.
// `accumulator` has the image's width and height; `width` must fit 31 bits.
void HoughForward(const float* image, int64_t width, int64_t height, float* accumulator);

// Draws every positive cell of the accumulator as a line of its value into `image`, which has
// the accumulator's size.
void HoughBackward(const float* accumulator, int64_t width, int64_t height, float* image);

// Draws the lines of a compact line list (`columns` wide, at least three rows) into `image`,
// whose width is also the list's number of distance bins.
void HoughBackwardSmart(const float* list, int64_t columns, float* image, int64_t width,
                        int64_t height);

// Adds `weight` along the line of sine `s`, cosine `c` and distance `r` from the centre: one
// pixel per column when the line is closer to horizontal, else one per row.
void HoughDrawLine(float s, float c, float r, float weight, float* image, int64_t width,
                   int64_t height);

}  // namespace ORVA
