#pragma once

#include "KXFW/Platform/Toolkit/NSButton.h"
#include "KXFW/Platform/Toolkit/NSSlider.h"
#include "KXFW/Platform/Toolkit/NSTextField.h"
#include "KXFW/Platform/Toolkit/NSViewController.h"
#include "KXFW/Platform/Toolkit/NibConnections.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kx::test
{

/// The controller of TestScreen.ui: writes down the actions that reach it.
class TestScreen : public NSViewController
{
public:
    using NSViewController::NSViewController;

    NSButton playButton;
    NSButton loopButton;
    NSTextField timeField;
    NSSlider rateSlider;
    NSWindow sheet;
    NSButton cancelButton;
    std::vector<std::string> log;
    std::function<void()> onAction = [] {};

    void viewDidLoad() override
    {
        NSViewController::viewDidLoad();
        log.push_back(playButton && sheet ? "viewDidLoad" : "viewDidLoad without outlets");
    }

    [[nodiscard]] std::vector<std::string> takeLog() { return std::exchange(log, {}); }

protected:
    void declareConnections(NibConnections &connections) override
    {
        NSViewController::declareConnections(connections);
        connections.outlet("playButton", playButton);
        connections.outlet("loopButton", loopButton);
        connections.outlet("timeField", timeField);
        connections.outlet("rateSlider", rateSlider);
        connections.outlet("sheet", sheet);
        connections.outlet("cancelButton", cancelButton);
        for (const char *name :
             {"clickPlayButton:", "clickLoopButton:", "clickCancelButton:", "changeTime:", "changeRate:"})
            connections.action(name, [this, name](const NSControl &sender) { note(name, sender); });
    }

private:
    void note(const std::string &action, const NSControl &sender)
    {
        log.push_back(action + (sender == timeField ? " " + sender.stringValue() : ""));
        onAction();
    }
};

} // namespace kx::test
