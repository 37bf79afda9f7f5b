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

} // namespace

TEST(KXNibLoadedViewController, MakesTheReceivingClassWithItsFileAndBundle)
{
    const std::shared_ptr<Screen> screen = KXNibLoadedViewController::viewController<Screen>();
    ASSERT_TRUE(screen->view());
    EXPECT_EQ(screen->view()->objectName(), "NibLoadedScreen");
    EXPECT_EQ(screen->nibBundle().name(), "test_UI");
    const std::shared_ptr<NSViewController> base = KXNibLoadedViewController::viewController();
    EXPECT_EQ(base->nibName(), std::nullopt) << "the name is left to the platform";
}
