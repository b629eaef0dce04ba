#pragma once

// What many nodes of the module share: their identity with its help page, and image results.
#include <string>

#include "tarsel.h"

namespace ORVA {

// The identity of a node of this module, with its help page
// "%ORVADIR%/doc/vimbro/html/utility/P<page>/index.html"; `page` defaults to the node's name.
inline CSetupDocument& UtilityIdentity(CSetupDocument& doc, const char* pluginType,
                                       const char* subType, const char* name,
                                       const char* page = nullptr) {
    return doc.Identity(pluginType, subType, name)
        .HelpPage("utility", std::string("P") + (page ? page : name));
}

// An image result as the output value that owns it.
inline std::unique_ptr<CValue> OwnedImage(std::unique_ptr<CImage> image) {
    return std::make_unique<CValueOwnedPointer<CImage>>(std::move(image));
}

}  // namespace ORVA
