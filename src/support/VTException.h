#pragma once

#include <QString>

#include <exception>

// Writes a caught exception to the log as
// "Exception in <method>. <exception type> - <reason>.", so that a long
// operation can record a failure and still run its end steps.
class VTException
{
public:
    static void logException(const std::exception &exception, const char *method);
    // For `catch (...)`: describes the exception being handled (its type,
    // and its reason when it is a std::exception).
    static void logCurrentException(const char *method);

    // The log text for an exception, without the date.
    [[nodiscard]] static QString describe(const std::exception &exception, const char *method);
    [[nodiscard]] static QString describeCurrent(const char *method);
};
