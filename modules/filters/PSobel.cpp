#include "PSobel.h"

namespace ORVA::Filters {

void CPSobel::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Edges", "Sobel").HelpPage("filters", "PSobel");
    doc.Brief(
        "Sobel derivatives of a grey image, or its gradient's magnitude or direction.",
        "The derivative of orders dx and dy is a separable filter, as OpenCV's Sobel: across "
        "the derivative the smoothing row (size 3: 1 2 1; 5 and 7: binomial rows), along it "
        "the difference row (order 1, size 3: -1 0 1; order 2: 1 -2 1; larger sizes binomial "
        "differences); size 1 uses no smoothing and the 3-tap difference. Rows are filtered "
        "first, taps summed left to right in the output type; integer inputs are exact. "
        "MAGNITUDE and DIRECTION use the first derivatives in x and y. Each slice is filtered "
        "on its own.");
    doc.Parameter("size", m_size, "aperture: 1, 3, 5 or 7").OneOf({1, 3, 5, 7});
    DeclareGradient(doc);
    doc.Keywords({"Sobel", "derivative", "gradient", "edges"});
}

void CPSobel::Run() {
    const char* where = "(filters) Sobel::Run";
    if (m_size != 1 && m_size != 3 && m_size != 5 && m_size != 7)
        throw CException(where, CString("size must be 1, 3, 5 or 7, not %1").Arg(m_size));
    RunGradient(where, m_size, [&] {
        const int top = std::max(m_size - 1, 2);  // size 1 differentiates with 3 taps
        CheckRange(where, "dx", m_dx, 0, top);
        CheckRange(where, "dy", m_dy, 0, top);
        if (m_dx + m_dy == 0) throw CException(where, "dx and dy are both 0");
    });
}

}  // namespace ORVA::Filters
