#include "PRingBuffer.h"

#include "algorithms/Averaging.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) RingBuffer::Run";
constexpr int32_t MIN_SIZE = 1;

bool Add(double* sum, const CImage& image) {
    bool nonFinite = false;
    DispatchGrey(image.Type(), [&]<class T>(std::type_identity<T>) {
        nonFinite = Averaging::AddImage(sum, image.Data<T>(), image.Pixels());
    });
    return nonFinite;
}

// The image a value holds, or null.
const CImage* HeldImage(const CValue& value) {
    return HoldsType<CImage>(&value) ? UnwrapPointer<CImage>(&value, LOCATION) : nullptr;
}

// A deep copy that the buffer owns alone: images are copied, as are the pointees of other
// pointer values.
std::unique_ptr<CValue> Keep(const CValue& value) {
    if (const CImage* image = HeldImage(value)) return OwnedImage(std::make_unique<CImage>(*image));
    return value.CloneUnique(OWNERSHIP_DEEP);
}
}  // namespace

CPRingBuffer::CPRingBuffer() : m_size(10), m_clear(false) {}

void CPRingBuffer::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "RingBuffer").KeepsState();
    doc.Brief(
        "Keeps the last values of its input across runs, and the mean of kept grey images.",
        "Every run adds a copy of input 0 (images are copied deeply, other values cloned) and "
        "drops the oldest value once more than \"size\" are kept, like a deque with a maximum "
        "length. A run without input adds nothing and shows what is kept. Output 0 holds "
        "copies of the kept values, oldest first. When every kept value is a single-channel "
        "image and all have one size (their pixel types may differ), output 1 is their "
        "pixel-wise mean as IMAGE_GREY_F, otherwise it is empty. The mean comes from a sum in "
        "double precision per pixel that adds the new image and subtracts the dropped one, so "
        "a run costs the same whatever the size; a NaN or infinity makes the mean NaN or "
        "infinite, as numpy's mean does, until that image is dropped.");
    doc.Note(
        "Output 0 copies every kept value on each run; leave it unconnected when only the "
        "mean is wanted and the host will not build it. \"clear\" empties the buffer at the "
        "next run and then turns itself off; a new \"size\" empties it as well. A size below 1 "
        "is an error.");
    doc.Input(0, "Value to keep: an image or any other value.", CSetupDocument::PIN_VALUE)
        .Optional();
    doc.Output(0, "CValueVector of copies of the kept values, oldest first.",
               CSetupDocument::PIN_VECTOR);
    doc.Output(1,
               "Pixel-wise mean of the kept images as IMAGE_GREY_F, when all are single-channel "
               "images of one size; else empty.");
    doc.Parameter("size", m_size, "how many values are kept, at least 1").Minimum(MIN_SIZE);
    doc.Parameter("clear", m_clear, "empty the buffer at the next run").Toggle();
    doc.Keywords(
        {"ring buffer", "history", "queue", "running mean", "moving average", "temporal", "state"});
    doc.SeeAlso("StaticStorage, StaticImage");
}

void CPRingBuffer::NodeInit() {
    // A new size empties the buffer, also when a later read fails.
    const int32_t size = m_size;
    try {
        CPNode::NodeInit();
    } catch (...) {
        if (m_size != size) Clear();
        throw;
    }
    if (m_size != size) Clear();
}

void CPRingBuffer::Run() {
    if (m_size < MIN_SIZE)
        throw CException(LOCATION, CString("size must be at least 1, not %1").Arg(m_size));
    if (m_clear) {
        Clear();
        m_clear = false;
        Parameters().SetEntry("clear", new CValueBool(false));
    }
    if (const CValue* input = GetStackInput(0, false)) Push(Keep(*input));

    if (HasStackOutput(0)) {
        auto kept = std::make_unique<CValueVector>();
        for (const SEntry& entry : m_entries)
            kept->PushBack(Keep(*entry.value));
        SetStackOutput(0, std::move(kept));
    }
    if (!m_sumValid) {
        SetStackOutput(1, nullptr);
    } else if (HasStackOutput(1)) {
        auto mean =
            std::make_unique<CImage>(IMAGE_GREY_F, m_sumSize, CSize(0, 0, 0), CImage::NoInit{});
        Averaging::MeanOfSum(m_sum.data(), mean->Data<float>(), mean->Pixels(),
                             static_cast<double>(m_entries.size()));
        SetStackOutput(1, OwnedImage(std::move(mean)));
    }
}

void CPRingBuffer::Clear() {
    m_entries.clear();
    m_sum = {};
    m_sumValid = false;
}

void CPRingBuffer::Push(std::unique_ptr<CValue> value) {
    SEntry added;
    const CImage* image = HeldImage(*value);
    if (image && image->Type().Channels() == 1) added.grey = image;
    added.value = std::move(value);
    m_entries.push_back(std::move(added));
    SEntry& entry = m_entries.back();

    SEntry dropped;
    if (m_entries.size() > static_cast<size_t>(m_size)) {
        dropped = std::move(m_entries.front());
        m_entries.pop_front();
    }

    const bool incremental = m_sumValid && entry.grey && entry.grey->Size() == m_sumSize;
    if (!incremental) {
        Resum();
        return;
    }
    double* sum = m_sum.data();
    const int64_t count = entry.grey->Pixels();
    if (dropped.grey && dropped.grey->Type() == entry.grey->Type() && !dropped.nonFinite) {
        DispatchGrey(entry.grey->Type(), [&]<class T>(std::type_identity<T>) {
            entry.nonFinite =
                Averaging::ReplaceImage(sum, entry.grey->Data<T>(), dropped.grey->Data<T>(), count);
        });
        return;
    }
    entry.nonFinite = Add(sum, *entry.grey);
    if (!dropped.grey) return;
    if (dropped.nonFinite) {
        // inf - inf leaves NaN behind: only a new sum forgets the dropped image.
        Resum();
        return;
    }
    DispatchGrey(dropped.grey->Type(), [&]<class T>(std::type_identity<T>) {
        Averaging::SubtractImage(sum, dropped.grey->Data<T>(), count);
    });
}

void CPRingBuffer::Resum() {
    m_sumValid = false;
    m_sum = {};
    if (m_entries.empty()) return;
    const CSize size = m_entries.front().grey ? m_entries.front().grey->Size() : CSize();
    for (const SEntry& entry : m_entries)
        if (!entry.grey || entry.grey->Size() != size) return;
    m_sum.assign(static_cast<size_t>(m_entries.front().grey->Pixels()), 0.0);
    for (SEntry& entry : m_entries)
        entry.nonFinite = Add(m_sum.data(), *entry.grey);
    m_sumSize = size;
    m_sumValid = true;
}

}  // namespace ORVA
