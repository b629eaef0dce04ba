#include "PScharr.h"

namespace ORVA::Filters {

void CPScharr::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Edges", "Scharr").HelpPage("filters", "PScharr");
    doc.Brief(
        "Scharr's first derivative of a grey image, or its gradient's magnitude or "
        "direction.",
        "The derivative in x is the separable filter -1 0 1 along rows and 3 10 3 "
        "across them (in y the other way round), as OpenCV's Scharr: more isotropic "
        "than a 3 x 3 Sobel. Rows are filtered first, taps summed left to right in the "
        "output type; integer inputs are exact. Exactly one of dx and dy is 1 for "
        "DERIVATIVE. Each slice is filtered on its own.");
    DeclareGradient(doc);
    doc.Keywords({"Scharr", "derivative", "gradient", "edges"});
}

void CPScharr::Run() {
    const char* where = "(filters) Scharr::Run";
    RunGradient(where, -1, [&] {
        if (!((m_dx == 1 && m_dy == 0) || (m_dx == 0 && m_dy == 1)))
            throw CException(
                where,
                CString("dx and dy must be 1 and 0 or 0 and 1, not %1 and %2").Arg(m_dx).Arg(m_dy));
    });
}

}  // namespace ORVA::Filters
