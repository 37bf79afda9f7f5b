#pragma once

#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Toolkit/InterfaceFile.h"

#include <string>

namespace kx::test
{

/// The text of an interface file with these elements in its root, a plain widget named "Screen".
inline std::string screen(const std::string &elements)
{
    return "<ui version=\"4.0\"><widget class=\"QWidget\" name=\"Screen\">" + elements + "</widget></ui>";
}

/// The element of a widget, with text properties as an interface file gives them.
inline std::string widget(const std::string &cls, const std::string &name, const std::string &inside = {})
{
    return "<widget class=\"" + cls + "\" name=\"" + name + "\">" + inside + "</widget>";
}

inline std::string property(const std::string &name, const std::string &text, const std::string &type = "string")
{
    return "<property name=\"" + name + "\" stdset=\"0\"><" + type + ">" + text + "</" + type + "></property>";
}

inline InterfaceFile interfaceFile(const std::string &name, const std::string &text)
{
    return {":/" + name + ".ui", QByteArray::fromStdString(text)};
}

/// The reason that loading fails with; "" when it does not.
template <class Load> std::string faultOf(Load load)
{
    try {
        load();
    } catch (const NSException &exception) {
        return exception.name() == nibLoadingExceptionName ? exception.reason() : exception.what();
    }
    return "";
}

} // namespace kx::test
