#include "KXFW/Platform/Layers/CATransaction.h"

#include "KXFW/Platform/Layers/LayerChanges.h"
#include "KXFW/Platform/Layers/LayerHost.h"

#include <map>
#include <vector>

namespace
{

struct Settings {
    bool disableActions = false;
    double animationDuration = 0.25;
};

/// The state of the main thread.
struct Transactions {
    std::vector<Settings> open; ///< innermost last
    std::map<kx::LayerHost *, std::vector<NSRect>> changes;

    [[nodiscard]] Settings settings() const { return open.empty() ? Settings{} : open.back(); }
};

Transactions &transactions()
{
    static Transactions *const shared = new Transactions; // never destroyed: layers may outlive it
    return *shared;
}

} // namespace

void CATransaction::begin()
{
    transactions().open.push_back(transactions().settings());
}

void CATransaction::commit()
{
    Transactions &state = transactions();
    if (state.open.empty())
        return;
    state.open.pop_back();
    while (state.open.empty() && !state.changes.empty()) { // one at a time: a host that hears may take others away
        const auto change = state.changes.extract(state.changes.begin());
        change.key()->layersDidChange(change.mapped());
    }
}

void CATransaction::setDisableActions(bool disable)
{
    if (!transactions().open.empty())
        transactions().open.back().disableActions = disable;
}

bool CATransaction::disableActions()
{
    return transactions().settings().disableActions;
}

void CATransaction::setAnimationDuration(double seconds)
{
    if (!transactions().open.empty())
        transactions().open.back().animationDuration = seconds;
}

double CATransaction::animationDuration()
{
    return transactions().settings().animationDuration;
}

kx::LayerTransaction::LayerTransaction()
{
    CATransaction::begin();
    CATransaction::setDisableActions(true);
}

void kx::LayerChanges::add(LayerHost *host, const NSRect &area)
{
    if (transactions().open.empty())
        host->layersDidChange({area});
    else
        transactions().changes[host].push_back(area);
}

void kx::LayerChanges::forget(LayerHost *host)
{
    transactions().changes.erase(host);
}
