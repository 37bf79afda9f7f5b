// Outlets, actions, delegates and layers: what interface files connect, and what they get wrong.
#include "KXFW/Platform/Toolkit/InterfaceConnection.h"
#include "KXFW/Platform/Toolkit/NSButton.h"
#include "KXFW/Platform/Toolkit/NSTextField.h"
#include "KXFW/Platform/Toolkit/ViewClasses.h"

#include "Tests/Toolkit/InterfaceTesting.h"

#include <QApplication>
#include <QWidget>

#include <gtest/gtest.h>

#include <map>
#include <vector>

using namespace kx::test;

namespace
{

struct Owner : NSObject {
    NSButton button;
    std::weak_ptr<struct SampleView> view;
};

std::vector<std::string> awakened; ///< "layer" or "plain", and the delegate, of each view that awoke

/// Has a delegate, of class Owner.
struct SampleView : NSView {
    std::weak_ptr<Owner> delegate;

    bool setOutlet(const std::string &name, const std::shared_ptr<NSObject> &object) override
    {
        delegate = std::dynamic_pointer_cast<Owner>(object);
        return name == "delegate" && !delegate.expired();
    }
    void awakeFromNib() override
    {
        awakened.push_back(std::string(wantsLayer() ? "layer" : "plain") +
                           (delegate.expired() ? "" : " with a delegate"));
    }
};

const kx::ViewClassRegistration<SampleView> registration("SampleView");

using Files = std::map<std::string, std::string>;

std::unique_ptr<kx::TopLevelObjects> load(const Files &files, const std::shared_ptr<NSObject> &owner,
                                          const kx::NibConnections &connections)
{
    const auto source = [&](const std::string &name) { return interfaceFile(name, files.at(name)); };
    return kx::loadScreen("Screen", source, owner, connections);
}

const std::string kButton = widget("QPushButton", "button");
const std::string kView = widget("SampleView", "view");

const std::pair<Files, std::string> kWrongScreens[] = {
    {{{"Screen", screen("")}},
     ":/Screen.ui: no object for the outlet 'button'; :/Screen.ui: no object for the outlet 'view'"},
    {{{"Screen", screen(widget("SampleView", "button") + widget("QPushButton", "view"))}},
     ":/Screen.ui: the outlet 'button' takes an object of class NSButton, not a (anonymous namespace)::SampleView; "
     ":/Screen.ui: the outlet 'view' takes an object of class (anonymous namespace)::SampleView, not a QPushButton"},
    {{{"Screen", screen(property("topLevelObjects", "Sheet") + kButton + kView)},
      {"Sheet", "<ui version=\"4.0\">" + widget("QPushButton", "other", property("action", "click:")) + "</ui>"}},
     ":/Sheet.ui: 'other' has the unknown action 'click:'"},
    {{{"Screen", screen(kButton + kView + widget("QFrame", "frame", property("action", "act:")))}},
     ":/Screen.ui: 'frame' has an action, but a QFrame sends none"},
    {{{"Screen", screen(kButton + widget("SampleView", "view", property("delegate", "button")))}},
     ":/Screen.ui: 'view' has the unknown delegate 'button'; it can only be 'owner'"},
    {{{"Screen", screen(kView + widget("QPushButton", "button", property("delegate", "owner")))}},
     ":/Screen.ui: 'button', a QPushButton, takes no delegate of class (anonymous namespace)::Owner"},
    {{{"Screen", screen(kButton + kView + kView)}}, ":/Screen.ui: the name 'view' is given twice"},
};

} // namespace

TEST(LoadScreen, SaysAllThatIsWrongInOneErrorAndLeavesNothing)
{
    awakened.clear();
    const auto widgets = QApplication::allWidgets();
    for (const auto &screen : kWrongScreens) {
        const auto owner = std::make_shared<Owner>();
        kx::NibConnections connections;
        connections.outlet("button", owner->button);
        connections.outlet("view", owner->view);
        connections.action("act:", [](const NSControl &) {});
        EXPECT_EQ(faultOf([&] { (void)load(screen.first, owner, connections); }), screen.second);
        EXPECT_TRUE(!owner->button && !owner->view.lock() && owner.use_count() == 1) << screen.second;
    }
    EXPECT_EQ(QApplication::allWidgets(), widgets);
    EXPECT_TRUE(awakened.empty()) << "no view awakes in a screen that is not connected";
}

TEST(LoadScreen, ViewsAwakeConnectedAndInnerOnesFirst)
{
    awakened.clear();
    const auto owner = std::make_shared<Owner>();
    kx::NibConnections connections;
    connections.outlet("view", owner->view);
    const std::string leaf = widget("SampleView", "leaf", property("wantsLayer", "true", "bool"));
    const std::string last = widget("SampleView", "last", property("wantsLayer", "false", "bool"));
    const auto objects =
        load({{"Screen", screen(widget("SampleView", "view", property("delegate", "owner") + leaf) + last)}}, owner,
             connections);
    EXPECT_EQ(awakened, (std::vector<std::string>{"layer", "plain with a delegate", "plain"}));
    EXPECT_EQ(owner->view.lock(), kx::viewOf(objects->view()->findChild<QWidget *>("view")));
}
