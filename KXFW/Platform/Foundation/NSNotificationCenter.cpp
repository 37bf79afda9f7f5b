#include "KXFW/Platform/Foundation/NSNotificationCenter.h"

#include <algorithm>
#include <mutex>
#include <vector>

struct NSNotificationCenter::Impl {
    using Block = std::function<void(const std::string &)>;
    struct Observer {
        Token token;
        std::string name;
        std::shared_ptr<const Block> block; ///< shared with the posts under way
    };

    /// Null when the observation has ended.
    std::shared_ptr<const Block> blockOf(Token token)
    {
        const std::lock_guard guard(lock);
        const auto found = std::ranges::find(observers, token, &Observer::token);
        return found == observers.end() ? nullptr : found->block;
    }

    std::mutex lock; ///< guards what follows
    Token next = 1;
    std::vector<Observer> observers;
};

NSNotificationCenter::NSNotificationCenter() : impl_(std::make_unique<Impl>()) {}

NSNotificationCenter::~NSNotificationCenter() = default;

NSNotificationCenter &NSNotificationCenter::defaultCenter()
{
    static NSNotificationCenter *const centre =
        new NSNotificationCenter; // never destroyed: threads may post until exit
    return *centre;
}

NSNotificationCenter::Token NSNotificationCenter::addObserver(std::string name,
                                                              std::function<void(const std::string &)> block)
{
    auto shared = std::make_shared<const Impl::Block>(std::move(block));
    const std::lock_guard guard(impl_->lock);
    impl_->observers.push_back({impl_->next, std::move(name), std::move(shared)});
    return impl_->next++;
}

void NSNotificationCenter::removeObserver(Token token)
{
    std::shared_ptr<const Impl::Block> removed; // destroyed without the lock: what it holds may come back to the centre
    const std::lock_guard guard(impl_->lock);
    const auto found = std::ranges::find(impl_->observers, token, &Impl::Observer::token);
    if (found == impl_->observers.end())
        return;
    removed = std::move(found->block);
    impl_->observers.erase(found);
}

void NSNotificationCenter::postNotificationName(const std::string &name)
{
    std::vector<Token> told;
    {
        const std::lock_guard guard(impl_->lock);
        for (const Impl::Observer &observer : impl_->observers)
            if (observer.name == name)
                told.push_back(observer.token);
    }
    for (const Token token : told)
        if (const auto block = impl_->blockOf(token); block && *block)
            (*block)(name);
}
