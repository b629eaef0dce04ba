#pragma once

#include <exception>
#include <string>

#include "base/Export.h"

namespace ORVA {

namespace Impl {
// Where an exception was raised, as the compiler saw it.
struct StExLocation {
    const char* date;
    const char* time;
    const char* file;
    int line;
    const char* function;
};
}  // namespace Impl

// Captures the current source position for CException(const Impl::StExLocation&, ...).
#define ORVA_LOCATION                                                              \
    ::ORVA::Impl::StExLocation {                                                   \
        __DATE__, __TIME__, __FILE__, __LINE__, static_cast<const char*>(__func__) \
    }

// The one error type of the framework and its modules: a location text (who failed),
// a message (what went wrong) and an optional object (what it was about).
class TARSEL_API CException : public std::exception {
  public:
    CException(const char* location, const char* message, const char* object = nullptr);
    CException(std::string location, std::string message, std::string object = {});
    CException(const Impl::StExLocation& where, const char* message);
    CException(const Impl::StExLocation& where, const std::string& message);
    ~CException() override;

    // The message alone.
    const char* what() const noexcept override;
    // "location: message", with " (object)" appended when an object was named.
    std::string FormattedWhat() const;

    const std::string& Location() const noexcept { return m_location; }
    const std::string& Message() const noexcept { return m_message; }
    const std::string& Object() const noexcept { return m_object; }

  private:
    std::string m_location;
    std::string m_message;
    std::string m_object;
};

// Thrown when a node has moved to another module: the host creates it from NewAddress().
class TARSEL_API CExPluginRelocation : public CException {
  public:
    CExPluginRelocation(const char* oldAddress, const char* newAddress);
    ~CExPluginRelocation() override;

    const std::string& OldAddress() const noexcept { return m_old; }
    const std::string& NewAddress() const noexcept { return m_new; }

  private:
    std::string m_old;
    std::string m_new;
};

}  // namespace ORVA
