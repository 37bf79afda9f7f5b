#include "KXFW/Platform/AudioUnits/LV2Module/LV2Features.h"

#include "KXFW/Platform/AudioUnits/RenderStage.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/parameters/parameters.h>

#include <algorithm>

namespace kx
{

namespace
{

/// What this host does anyway: it is played live, gives no buffer twice, and may run any plugin.
constexpr std::array kKeptAnyway{LV2_CORE__inPlaceBroken, LV2_CORE__isLive, LV2_CORE__hardRTCapable};

} // namespace

LV2Features::LV2Features()
    : mapFeature_{this,
                  [](LV2_URID_Map_Handle self, const char *uri) { return static_cast<LV2Features *>(self)->map(uri); }},
      unmapFeature_{this, [](LV2_URID_Unmap_Handle self,
                             LV2_URID number) { return static_cast<LV2Features *>(self)->unmap(number); }},
      longestBlock_(RenderStage::kMostFrames), sampleRate_(static_cast<float>(kCanonicalSampleRate))
{
    const LV2_URID integer = map(LV2_ATOM__Int);
    options_ = {
        {{LV2_OPTIONS_INSTANCE, 0, map(LV2_BUF_SIZE__minBlockLength), sizeof shortestBlock_, integer, &shortestBlock_},
         {LV2_OPTIONS_INSTANCE, 0, map(LV2_BUF_SIZE__maxBlockLength), sizeof longestBlock_, integer, &longestBlock_},
         {LV2_OPTIONS_INSTANCE, 0, map(LV2_PARAMETERS__sampleRate), sizeof sampleRate_, map(LV2_ATOM__Float),
          &sampleRate_},
         {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}}};
    features_ = {{{LV2_URID__map, &mapFeature_},
                  {LV2_URID__unmap, &unmapFeature_},
                  {LV2_OPTIONS__options, options_.data()},
                  {LV2_BUF_SIZE__boundedBlockLength, nullptr}}};
    std::ranges::transform(features_, list_.begin(), [](const LV2_Feature &feature) { return &feature; });
    list_.back() = nullptr;
}

bool LV2Features::offers(std::string_view uri) const noexcept
{
    const auto isIt = [&](const LV2_Feature &feature) { return feature.URI == uri; };
    return std::ranges::any_of(features_, isIt) || std::ranges::find(kKeptAnyway, uri) != kKeptAnyway.end();
}

LV2_URID LV2Features::map(std::string_view uri)
{
    const std::lock_guard guard(lock_);
    if (const auto known = numbers_.find(uri); known != numbers_.end())
        return known->second;
    const std::string &kept = uris_.emplace_back(uri);
    return numbers_[kept] = static_cast<LV2_URID>(uris_.size());
}

const char *LV2Features::unmap(LV2_URID number)
{
    const std::lock_guard guard(lock_);
    return number >= 1 && number <= uris_.size() ? uris_[number - 1].c_str() : nullptr;
}

} // namespace kx
