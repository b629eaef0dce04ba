#include "image/Conversion.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/Exception.h"

namespace ORVA {

namespace {

using Id = IImage::CType::EnId;

template <class D, bool Saturate, class S>
inline D ConvertSample(S value) {
    if constexpr (std::is_floating_point_v<D>) {
        if constexpr (std::is_same_v<D, float> && std::is_same_v<S, double>) {
            constexpr double limit = std::numeric_limits<float>::max();
            if (value > limit) return std::numeric_limits<float>::infinity();
            if (value < -limit) return -std::numeric_limits<float>::infinity();
        }
        return static_cast<D>(value);
    } else if constexpr (std::is_floating_point_v<S>) {
        if constexpr (Saturate) {
            if (!(value > 0)) return 0;  // NaN and negatives
            constexpr S top = static_cast<S>(std::numeric_limits<D>::max());
            if (value >= top) return std::numeric_limits<D>::max();
            return static_cast<D>(std::round(value));
        } else {
            if (!(value > -9223372036854775808.0 && value < 9223372036854775808.0)) return 0;
            return static_cast<D>(static_cast<int64_t>(value));
        }
    } else {
        if constexpr (Saturate && sizeof(S) > sizeof(D)) {
            constexpr S top = static_cast<S>(std::numeric_limits<D>::max());
            return value > top ? std::numeric_limits<D>::max() : static_cast<D>(value);
        } else {
            return static_cast<D>(value);
        }
    }
}

// One channel of samples with a stride in samples.
template <class T>
struct Channel {
    T* data;
    size_t stride;
};

template <class S, class D, bool Saturate>
void ConvertChannel(Channel<const S> source, Channel<D> target, int64_t n) {
    if (source.stride == 1 && target.stride == 1) {
        for (int64_t i = 0; i < n; ++i)
            target.data[i] = ConvertSample<D, Saturate>(source.data[i]);
    } else {
        for (int64_t i = 0; i < n; ++i)
            target.data[i * target.stride] =
                ConvertSample<D, Saturate>(source.data[i * source.stride]);
    }
}

template <class S, class D, bool Saturate>
void MeanOfChannels(const Channel<const S> (&source)[3], Channel<D> target, int64_t n) {
    for (int64_t i = 0; i < n; ++i) {
        double sum = static_cast<double>(source[0].data[i * source[0].stride]) +
                     static_cast<double>(source[1].data[i * source[1].stride]) +
                     static_cast<double>(source[2].data[i * source[2].stride]);
        target.data[i * target.stride] = ConvertSample<D, Saturate>(sum / 3.0);
    }
}

template <class S>
void NonZero(Channel<const S> source, uint8_t* target, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        target[i] = source.data[i * source.stride] != 0 ? 1 : 0;
}

template <class T>
Channel<T> ChannelOf(T* base, IImage::CType type, int64_t pixels, int channel) {
    if (type.IsPlanar()) return {base + channel * pixels, 1};
    return {base + channel, static_cast<size_t>(type.Channels())};
}

template <class F>
bool DispatchAny(IImage::CType type, F&& f) {
    return DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_64, Id::GREY_F, Id::GREY_D,
                        Id::RGB_8, Id::RGB_8I, Id::RGB_FI, Id::BINARY_FG, Id::BINARY_BG>(
        type, std::forward<F>(f));
}

bool IsBinary(IImage::CType type) {
    return type == IMAGE_BINARY_FG || type == IMAGE_BINARY_BG;
}

template <class S, class D, bool Saturate>
void Convert(const CImage& source, CImage& target) {
    const int64_t n = source.Pixels();
    const S* from = reinterpret_cast<const S*>(source.Bytes());
    D* to = reinterpret_cast<D*>(target.Bytes());
    IImage::CType st = source.Type();
    IImage::CType tt = target.Type();

    if (IsBinary(tt)) {
        uint8_t* bytes = target.Bytes();
        if (st.IsColour()) {
            Channel<const S> channels[3];
            for (int c = 0; c < 3; ++c)
                channels[c] = ChannelOf(from, st, n, c);
            for (int64_t i = 0; i < n; ++i) {
                double sum = static_cast<double>(channels[0].data[i * channels[0].stride]) +
                             static_cast<double>(channels[1].data[i * channels[1].stride]) +
                             static_cast<double>(channels[2].data[i * channels[2].stride]);
                bytes[i] = sum / 3.0 != 0.0 ? 1 : 0;
            }
        } else {
            NonZero<S>({from, 1}, bytes, n);
        }
        return;
    }
    if (st.IsColour() && !tt.IsColour()) {
        Channel<const S> channels[3];
        for (int c = 0; c < 3; ++c)
            channels[c] = ChannelOf(from, st, n, c);
        MeanOfChannels<S, D, Saturate>(channels, {to, 1}, n);
        return;
    }
    for (int c = 0; c < tt.Channels(); ++c) {
        Channel<const S> in = st.IsColour() ? ChannelOf(from, st, n, c) : Channel<const S>{from, 1};
        ConvertChannel<S, D, Saturate>(in, ChannelOf(to, tt, n, c), n);
    }
}

}  // namespace

void CImageConversion::FastConvert(CImage& destination, const CImage& source, bool saturate) {
    if (destination.Size() != source.Size())
        throw CException("CImageConversion::FastConvert",
                         CString("destination size %1 differs from source size %2")
                             .Arg(destination.Size().ToString())
                             .Arg(source.Size().ToString()));
    if (destination.Type() == source.Type()) {
        std::memcpy(destination.Bytes(), source.Bytes(), source.ByteCount());
        return;
    }
    DispatchAny(source.Type(), [&]<class S>(std::type_identity<S>) {
        DispatchAny(destination.Type(), [&]<class D>(std::type_identity<D>) {
            if (saturate)
                Convert<S, D, true>(source, destination);
            else
                Convert<S, D, false>(source, destination);
        });
    });
}

}  // namespace ORVA
