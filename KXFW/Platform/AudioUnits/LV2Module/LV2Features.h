#pragma once

#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kx
{

/// What plugins may ask of this host: numbers for URIs, and the limits of a block. Lives as long as the process.
class LV2Features
{
public:
    LV2Features();

    /// Of a feature that a plugin needs. [any]
    [[nodiscard]] bool offers(std::string_view uri) const noexcept;
    /// For an instance; ends with null. [any]
    [[nodiscard]] const LV2_Feature *const *list() const noexcept { return list_.data(); }

private:
    LV2_URID map(std::string_view uri);
    const char *unmap(LV2_URID number);

    std::mutex lock_; ///< guards the numbers: plugins may ask from any thread but the one that runs them
    std::deque<std::string> uris_;
    std::unordered_map<std::string_view, LV2_URID> numbers_;

    LV2_URID_Map mapFeature_;
    LV2_URID_Unmap unmapFeature_;
    int32_t shortestBlock_ = 1;
    int32_t longestBlock_;
    float sampleRate_;
    std::array<LV2_Options_Option, 4> options_;
    std::array<LV2_Feature, 4> features_;
    std::array<const LV2_Feature *, 5> list_;
};

} // namespace kx
