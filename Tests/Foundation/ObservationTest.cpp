#include "KXFW/Platform/Foundation/NSNotificationCenter.h"
#include "KXFW/Platform/Foundation/NSObject.h"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace
{

/// Announces changes of its keys as every setter does.
class Subject : public NSObject
{
public:
    void set(const std::string &key)
    {
        if (!isObserved(key))
            return;
        willChangeValueForKey(key);
        didChangeValueForKey(key);
    }
};

class Watcher : public NSObject
{
public:
    void observeValueForKey(const std::string &key, NSObject &object) override
    {
        seen.push_back(key);
        if (onChange)
            onChange(object);
    }
    std::vector<std::string> seen;
    std::function<void(NSObject &)> onChange;
};

using Keys = std::vector<std::string>;

TEST(ChangeObservation, EachRegistrationHearsOfItsKeyOnly)
{
    Subject subject;
    Watcher once;
    Watcher twice;
    subject.addObserver(&once, "a");
    subject.addObserver(&twice, "a");
    subject.addObserver(&twice, "a");
    subject.addObserver(&twice, "b");
    subject.set("a");
    subject.set("c");
    EXPECT_EQ(once.seen, Keys{"a"});
    EXPECT_EQ(twice.seen, (Keys{"a", "a"}));
    subject.removeObserver(&twice, "a"); // one of the two
    subject.removeObserver(&once, "b");  // never made
    subject.set("a");
    subject.set("b");
    EXPECT_EQ(once.seen, (Keys{"a", "a"}));
    EXPECT_EQ(twice.seen, (Keys{"a", "a", "a", "b"}));
}

TEST(ChangeObservation, AnObserverMayRemoveItselfAndOthers)
{
    Subject subject;
    Watcher first;
    auto second = std::make_unique<Watcher>();
    subject.addObserver(&first, "a");
    subject.addObserver(second.get(), "a");
    first.onChange = [&](NSObject &object) {
        object.removeObserver(&first, "a");
        object.removeObserver(second.get(), "a");
        second.reset(); // must not be told any more
    };
    subject.set("a");
    subject.set("a");
    EXPECT_EQ(first.seen, Keys{"a"});
}

TEST(ChangeObservation, RegistrationsChangeWhileAnotherThreadAnnounces)
{
    Subject subject;
    Watcher watcher;
    Watcher other;
    subject.addObserver(&watcher, "a");
    std::atomic<bool> done = false;
    std::thread registering([&] {
        for (int i = 0; i < 2000; ++i) {
            subject.addObserver(&other, "b");
            subject.removeObserver(&other, "b");
        }
        done = true;
    });
    std::size_t announced = 0;
    for (; !done || announced == 0; ++announced)
        subject.set("a");
    registering.join();
    EXPECT_EQ(watcher.seen.size(), announced);
}

TEST(NSNotificationCenter, BlocksHearTheirNameAndMayChangeTheObservers)
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
    centre.addObserver("m", [&](const std::string &) { calls += "4"; });
    centre.addObserver("n", nullptr);
    centre.postNotificationName("n");
    EXPECT_EQ(calls, "1");
    centre.removeObserver(own); // gone already
    centre.postNotificationName("n");
    EXPECT_EQ(calls, "13");
}

TEST(NSNotificationCenter, WhatARemovedBlockHeldMayComeBackToTheCentre)
{
    NSNotificationCenter centre;
    int posted = 0;
    centre.addObserver("gone", [&](const std::string &) { ++posted; });
    std::shared_ptr<int> held(new int, [&](const int *p) {
        delete p;
        centre.postNotificationName("gone");
    });
    const auto token = centre.addObserver("n", [held = std::move(held)](const std::string &) {});
    centre.removeObserver(token);
    EXPECT_EQ(posted, 1);
}

} // namespace
