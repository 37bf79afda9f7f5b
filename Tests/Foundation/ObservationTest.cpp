#include "KXFW/Platform/Foundation/NSNotificationCenter.h"
#include "KXFW/Platform/Foundation/NSObject.h"

#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace
{

class Watcher : public NSObject
{
public:
    void observeValueForKey(const std::string &key, NSObject &) override
    {
        seen += key;
        onChange();
    }
    std::string seen;
    std::function<void()> onChange = [] {};
};

TEST(ChangeObservation, EachRegistrationHearsOfItsKeyOnlyAndMayGoFromInside)
{
    NSObject subject;
    Watcher once;
    Watcher twice;
    subject.addObserver(&once, "a");
    for (const char *key : {"a", "a", "b"})
        subject.addObserver(&twice, key);
    subject.didChangeValueForKey("a");
    subject.didChangeValueForKey("c");
    EXPECT_EQ(once.seen + "|" + twice.seen, "a|aa");
    subject.removeObserver(&twice, "a"); // one of the two
    subject.removeObserver(&once, "b");  // never made
    subject.didChangeValueForKey("a");
    subject.didChangeValueForKey("b");
    EXPECT_EQ(once.seen + "|" + twice.seen, "aa|aaab");

    auto last = std::make_unique<Watcher>();
    subject.addObserver(last.get(), "a");
    once.onChange = [&] {
        subject.removeObserver(&once, "a");
        subject.removeObserver(last.get(), "a");
        last.reset(); // must not be told any more
    };
    subject.didChangeValueForKey("a");
    subject.didChangeValueForKey("a");
    EXPECT_EQ(once.seen, "aaa");
}

TEST(ChangeObservation, RegistrationsChangeWhileAnotherThreadAnnounces)
{
    NSObject subject;
    Watcher watcher;
    subject.addObserver(&watcher, "a");
    const std::jthread registering([&, other = std::make_unique<Watcher>()] {
        for (int i = 0; i < 2000; ++i) {
            subject.addObserver(other.get(), "b");
            subject.removeObserver(other.get(), "b");
        }
    });
    for (int i = 0; i < 2000; ++i)
        subject.didChangeValueForKey("a");
    EXPECT_EQ(watcher.seen.size(), 2000U);
}

TEST(NSNotificationCenter, BlocksMayChangeTheObserversAndComeBackWhenTheyGo)
{
    NSNotificationCenter centre;
    std::string calls;
    NSNotificationCenter::Token own = 0;
    NSNotificationCenter::Token other = 0;
    own = centre.addObserver("n", [&](const std::string &name) {
        calls += "1";
        centre.removeObserver(own);
        centre.removeObserver(other);
        centre.addObserver(name, [&](const std::string &) { calls += "3"; });
    });
    other = centre.addObserver("n", [&](const std::string &) { calls += "2"; });
    centre.addObserver("gone", [&](const std::string &) { calls += "4"; });
    centre.addObserver("n", nullptr);
    centre.postNotificationName("n");
    calls += "|";
    centre.removeObserver(own); // gone already
    centre.postNotificationName("n");
    std::shared_ptr<void> held(nullptr, [&](void *) { centre.postNotificationName("gone"); });
    centre.removeObserver(centre.addObserver("n", [held = std::move(held)](const std::string &) {}));
    EXPECT_EQ(calls, "1|34");
}

} // namespace
