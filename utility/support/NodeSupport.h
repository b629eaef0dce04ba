#pragma once

// What many nodes of the module share: their setup document's frame, the reading of numeric
// parameters, the run-once switch and the unwrapping of inputs.
#include <string>

#include "tarsel.h"

namespace ORVA {

// A setup document with the module's help page, "%ORVADIR%/doc/vimbro/html/utility/P<page>".
// `page` defaults to the node's name.
inline CSetupDocument UtilityDocument(const char* pluginType, const char* subType, const char* name,
                                      const char* page = nullptr) {
    CSetupDocument document(pluginType, subType, name);
    document.HelpPage("utility", std::string("P") + (page ? page : name));
    return document;
}

// The identity of a node of this module, with its help page
// "%ORVADIR%/doc/vimbro/html/utility/P<page>/index.html"; `page` defaults to the node's name.
inline CSetupDocument& UtilityIdentity(CSetupDocument& doc, const char* pluginType,
                                       const char* subType, const char* name,
                                       const char* page = nullptr) {
    return doc.Identity(pluginType, subType, name)
        .HelpPage("utility", std::string("P") + (page ? page : name));
}

// Reads a parameter documented as "double or long": a stored double or long replaces
// `member`; any other kind, or no entry, leaves it as it is.
template <class T>
void ReadDoubleOrLong(const CValueMap& parameters, const char* key, T& member) {
    if (parameters.HasEntry(key, CValue::VAL_DOUBLE))
        member = static_cast<T>(parameters.EntryDouble(key, 0.0));
    else if (parameters.HasEntry(key, CValue::VAL_LONG))
        member = static_cast<T>(parameters.EntryLong(key, 0));
}

// The image behind an input: null for no value, CException (at `location`) for a value that
// holds no image.
inline CImage* UnwrapInputImage(const CValue* value, const char* location) {
    return UnwrapPointer<CImage>(value, location);
}

// The image behind an input a node cannot run without: CException "input image is NULL" for no
// value or a null image, and for a value that holds no image the message InputImage gives.
inline CImage* RequiredInputImage(const CValue* value, const char* location) {
    CImage* image = UnwrapInputImage(value, location);
    if (!image) throw CException(location, "input image is NULL");
    return image;
}

// An image result as the output value that owns it.
inline std::unique_ptr<CValue> OwnedImage(std::unique_ptr<CImage> image) {
    return std::make_unique<CValueOwnedPointer<CImage>>(std::move(image));
}

}  // namespace ORVA
