#include "VTException.h"

#include "VTLog.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <typeinfo>

namespace {

QString readableTypeName(const std::type_info *type)
{
    if (!type)
        return QStringLiteral("unknown exception");
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), &std::free);
    return QString::fromLatin1(status == 0 && demangled ? demangled.get() : type->name());
}

QString entry(const char *method, const QString &type, const QString &reason)
{
    return QStringLiteral("Exception in %1. %2 - %3.")
        .arg(QString::fromUtf8(method ? method : "unknown method"), type, reason);
}

} // namespace

QString VTException::describe(const std::exception &exception, const char *method)
{
    return entry(method, readableTypeName(&typeid(exception)), QString::fromUtf8(exception.what()));
}

QString VTException::describeCurrent(const char *method)
{
    const std::exception_ptr current = std::current_exception();
    if (!current)
        return entry(method, QStringLiteral("no exception"), QStringLiteral("nothing was thrown"));
    try {
        std::rethrow_exception(current);
    } catch (const std::exception &exception) {
        return describe(exception, method);
    } catch (...) {
        return entry(method, readableTypeName(abi::__cxa_current_exception_type()),
                     QStringLiteral("no description"));
    }
}

void VTException::logException(const std::exception &exception, const char *method)
{
    VTLog::appendLog(describe(exception, method));
}

void VTException::logCurrentException(const char *method)
{
    VTLog::appendLog(describeCurrent(method));
}
