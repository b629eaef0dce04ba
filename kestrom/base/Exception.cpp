#include "base/Exception.h"

#include <cstring>

namespace ORVA {

namespace {

std::string LocationText(const Impl::StExLocation& where) {
    const char* file = where.file ? where.file : "";
    if (const char* slash = std::strrchr(file, '/')) file = slash + 1;
    return std::string(where.function ? where.function : "") + " (" + file + ":" +
           std::to_string(where.line) + ")";
}

}  // namespace

CException::CException(const char* location, const char* message, const char* object)
    : m_location(location ? location : ""),
      m_message(message ? message : ""),
      m_object(object ? object : "") {}

CException::CException(std::string location, std::string message, std::string object)
    : m_location(std::move(location)), m_message(std::move(message)), m_object(std::move(object)) {}

CException::CException(const Impl::StExLocation& where, const char* message)
    : m_location(LocationText(where)), m_message(message ? message : "") {}

CException::CException(const Impl::StExLocation& where, const std::string& message)
    : m_location(LocationText(where)), m_message(message) {}

CException::~CException() = default;

const char* CException::what() const noexcept {
    return m_message.c_str();
}

std::string CException::FormattedWhat() const {
    std::string text = m_location.empty() ? m_message : m_location + ": " + m_message;
    if (!m_object.empty()) text += " (" + m_object + ")";
    return text;
}

CExPluginRelocation::CExPluginRelocation(const char* oldAddress, const char* newAddress)
    : CException("CExPluginRelocation", std::string("plugin '") + (oldAddress ? oldAddress : "") +
                                            "' has moved to '" + (newAddress ? newAddress : "") +
                                            "'"),
      m_old(oldAddress ? oldAddress : ""),
      m_new(newAddress ? newAddress : "") {}

CExPluginRelocation::~CExPluginRelocation() = default;

}  // namespace ORVA
