// The factory of view controllers: which class, which file, which bundle.
#include "KXFW/UI/KXNibLoadedViewController.h"

#include <QWidget>

#include <gtest/gtest.h>

namespace
{

struct Screen : KXNibLoadedViewController {
    using KXNibLoadedViewController::KXNibLoadedViewController;
    static std::optional<std::string> nibName() { return "NibLoadedScreen"; }
};

struct UnnamedScreen : KXNibLoadedViewController {
    using KXNibLoadedViewController::KXNibLoadedViewController;
};

} // namespace

TEST(KXNibLoadedViewController, MakesTheReceivingClassWithItsFileAndBundle)
{
    const std::shared_ptr<Screen> screen = KXNibLoadedViewController::viewController<Screen>();
    const NSViewController &controller = *screen;
    EXPECT_EQ(controller.nibName(), "NibLoadedScreen");
    EXPECT_EQ(controller.nibBundle().name(), "test_UI");
    ASSERT_TRUE(screen->view());
    EXPECT_EQ(screen->view()->objectName(), "NibLoadedScreen");
}

TEST(KXNibLoadedViewController, LeavesTheNameToThePlatformWithoutOne)
{
    const std::shared_ptr<NSViewController> base = KXNibLoadedViewController::viewController();
    EXPECT_EQ(base->nibName(), std::nullopt);
    EXPECT_EQ(base->nibBundle(), NSBundle::bundleForClass(typeid(KXNibLoadedViewController)));
    const auto unnamed = KXNibLoadedViewController::viewController<UnnamedScreen>();
    ASSERT_TRUE(unnamed->view()) << "UnnamedScreen.ui";
}
