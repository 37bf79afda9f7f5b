// Interface files that lie: each ends in one error with the file's name, and leaves nothing behind.
#include "KXFW/Platform/Foundation/StringTable.h"
#include "KXFW/Platform/Toolkit/InterfaceBuilder.h"
#include "KXFW/Platform/Toolkit/NSBundle.h"

#include "Tests/Support/CapturedLog.h"
#include "Tests/Toolkit/InterfaceTesting.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <string>

using namespace kx::test;

namespace
{

const std::pair<std::string, const char *> kBadFiles[] = {
    {"RIFF\x01\x02 not a screen", "line 1: "},
    {screen("").substr(0, 60), "line 1: Premature end of document."},
    {"<ui version=\"4.0\">\n<widget class=\"QWidget\" name=\"A\">\n</wodget></ui>", "line 3: "},
    {"<html><body/></html>", "line 1: no interface file, but <html>"},
    {"<ui version=\"4.0\"><class>A</class></ui>", "no widget in it"},
    {screen("\n\n" + widget("KXNoSuchView", "bar")), "line 3: unknown class 'KXNoSuchView'"},
    {screen(widget("Custom", "a"))
         .insert(18, "<customwidgets><customwidget><class>Custom</class><extends>QWidget"
                     "</extends></customwidget></customwidgets>"),
     "line 1: unknown class 'Custom'"},
    {QString("<ui>").repeated(70).toStdString(), "more than 64 elements inside each other"},
    {screen(widget("QLabel", "l"))
         .insert(18, "<connections><connection><sender>l</sender><signal> des<![CDATA[troyed]]>()</signal>"
                     "<receiver>l</receiver><slot>showMinimized()</slot></connection></connections>"),
     "line 1: a connection from 'destroyed'"},
    {"<!DOCTYPE ui [<!ENTITY a \"b\">]>" + screen("&a;"), "a document type"},
    {screen("") + std::string(kx::InterfaceFile::kMostBytes, ' '), "larger than 256 KiB"},
    {"<ui version=\"3.1\"><widget class=\"QWidget\" name=\"a\"/></ui>", "created using Designer from Qt-3.1"},
};

} // namespace

TEST(InterfaceFile, FailsWithOneErrorThatNamesFileAndReason)
{
    const auto widgets = QApplication::allWidgets();
    CapturedLog log;
    for (const auto &bad : kBadFiles) {
        const std::string fault = faultOf([&] { (void)kx::makeInterface(interfaceFile("Bad", bad.first)); });
        EXPECT_TRUE(fault.starts_with(":/Bad.ui: ") && fault.find(bad.second) != std::string::npos) << fault;
    }
    EXPECT_EQ(log.text(), "") << "beside the error nothing is reported";
    EXPECT_EQ(QApplication::allWidgets(), widgets);
}

TEST(InterfaceFile, WhatDoesNotStopTheToolkitIsLoggedWithTheFile)
{
    CapturedLog log;
    const auto made = kx::makeInterface(interfaceFile("Odd", screen(property("bogus", "Foo::Bar", "enum"))));
    EXPECT_TRUE(made.root);
    const auto lines = log.messages();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with(":/Odd.ui: ") && lines[0].find("bogus") != std::string::npos) << lines[0];
}

TEST(InterfaceFile, HasTheCaptionsOfTheApplicationThenTheFrameworks)
{
    using kx::StringTable;
    StringTable::main().setTexts("xx", {{"Open", "<Auf> & zu"}});
    StringTable::framework().setTexts("xx", {{"Open", "Auf"}, {"Play", "Los"}});
    StringTable::setPreferredLanguages({"xx"});
    const auto file = [&](const char *open, const char *play) {
        return screen(property("a", open) + "\n" + property("b", play) + property("c", "Other") +
                      "<string notr=\"true\">Open</string>");
    };
    for (const auto &[path, open] : {std::pair("App", "&lt;Auf&gt; &amp; zu"), {"KXFWUI/Own", "Auf"}}) {
        const auto made = kx::localizedInterfaceFile(interfaceFile(path, file("Open", "Play")));
        EXPECT_NE(made.contents.indexOf(file(open, "Los").c_str()), -1) << made.contents.toStdString();
    }
    StringTable::setPreferredLanguages(StringTable::languagesOfEnvironment());
    StringTable::main().setTexts("xx", {});
    StringTable::framework().setTexts("xx", {});
}

TEST(NSBundle, FindsItsFilesAndLeadsNowhereElse)
{
    EXPECT_EQ(NSBundle::bundleForClass(typeid(QWidget)).name(), "Qt6Widgets");
    const NSBundle bundle("test_Toolkit");
    EXPECT_EQ(bundle.pathForInterfaceFile("TestScreen"), ":/test_Toolkit/TestScreen.ui");
    for (const char *name : {"", "NoSuchScreen", "../test_Toolkit/TestScreen", "x/../TestScreen", "/etc/passwd", ".."})
        EXPECT_EQ(bundle.pathForInterfaceFile(name), std::nullopt) << name;
    for (const char *name : {"", "..", "test_Toolkit/.", "other"})
        EXPECT_EQ(NSBundle(name).pathForInterfaceFile("TestScreen"), std::nullopt) << name;
}
