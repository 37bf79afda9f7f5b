#include "KXFW/Platform/AudioFiles/Codecs/OggPages.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

namespace kx
{

namespace
{

constexpr std::size_t kPageHeaderBytes = 27;
constexpr int64_t kLongestPage = 27 + 255 + 255 * 255;

struct Page {
    int64_t endFrame; ///< -1 if no packet ends in it
    uint32_t stream;
};

/// The pages that lie whole in `bytes`, the last part of a file.
std::vector<Page> pagesIn(const std::vector<uint8_t> &bytes)
{
    constexpr char signature[] = {'O', 'g', 'g', 'S', '\0'};
    std::vector<Page> pages;
    auto at = bytes.begin();
    while (true) {
        at = std::search(at, bytes.end(), std::begin(signature), std::end(signature));
        const auto left = static_cast<std::size_t>(bytes.end() - at);
        if (left < kPageHeaderBytes || left < kPageHeaderBytes + at[26])
            return pages;
        const auto table = at + kPageHeaderBytes;
        const std::size_t whole = kPageHeaderBytes + at[26] + std::accumulate(table, table + at[26], std::size_t{0});
        if (whole > left)
            return pages;
        Page page = {};
        std::memcpy(&page.endFrame, &at[6], sizeof page.endFrame);
        std::memcpy(&page.stream, &at[14], sizeof page.stream);
        pages.push_back(page);
        at += static_cast<std::ptrdiff_t>(whole);
    }
}

} // namespace

int64_t lastOggPageStart(ByteSource &source, int64_t frames)
{
    const int64_t offset = std::max<int64_t>(source.size() - 3 * kLongestPage, 0);
    std::vector<uint8_t> tail(static_cast<std::size_t>(source.size() - offset));
    tail.resize(static_cast<std::size_t>(
        std::max<int64_t>(source.readAt(offset, tail.data(), static_cast<int64_t>(tail.size())), 0)));
    auto pages = pagesIn(tail);
    const uint32_t stream = pages.empty() ? 0 : pages.back().stream;
    std::erase_if(pages, [&](const Page &p) { return p.endFrame < 0 || p.stream != stream; });
    if (pages.size() < 2)
        return 0;
    const int64_t lastPageFrames = pages.back().endFrame - pages[pages.size() - 2].endFrame;
    return std::clamp<int64_t>(frames - lastPageFrames, 0, frames);
}

} // namespace kx
