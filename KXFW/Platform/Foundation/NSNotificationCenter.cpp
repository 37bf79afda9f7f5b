#include "KXFW/Platform/Foundation/NSNotificationCenter.h"

#include <algorithm>

NSNotificationCenter &NSNotificationCenter::defaultCenter()
{
    static NSNotificationCenter *const centre =
        new NSNotificationCenter; // never destroyed: threads may post until exit
    return *centre;
}

NSNotificationCenter::Token NSNotificationCenter::addObserver(std::string name,
                                                              std::function<void(const std::string &)> block)
{
    auto shared = std::make_shared<const Block>(std::move(block));
    const std::lock_guard guard(lock_);
    observers_.push_back({next_, std::move(name), std::move(shared)});
    return next_++;
}

void NSNotificationCenter::removeObserver(Token token)
{
    std::shared_ptr<const Block> removed; // destroyed without the lock: what it holds may come back to the centre
    const std::lock_guard guard(lock_);
    const auto found = std::ranges::find(observers_, token, &Observer::token);
    if (found == observers_.end())
        return;
    removed = std::move(found->block);
    observers_.erase(found);
}

void NSNotificationCenter::postNotificationName(const std::string &name)
{
    std::vector<Token> told;
    {
        const std::lock_guard guard(lock_);
        for (const Observer &observer : observers_)
            if (observer.name == name)
                told.push_back(observer.token);
    }
    for (const Token token : told)
        if (const auto block = blockOf(token); block && *block)
            (*block)(name);
}

std::shared_ptr<const NSNotificationCenter::Block> NSNotificationCenter::blockOf(Token token)
{
    const std::lock_guard guard(lock_);
    const auto found = std::ranges::find(observers_, token, &Observer::token);
    return found == observers_.end() ? nullptr : found->block;
}
