#pragma once

#include <memory>
#include <vector>

class QWidget;

namespace kx
{

/// The roots of a screen: its view, and the windows that come with it. It owns those that stand in no parent; a parent
/// owns the others, and may go first.
class TopLevelObjects
{
public:
    explicit TopLevelObjects(std::vector<std::unique_ptr<QWidget>> roots); ///< The view first. [main]
    ~TopLevelObjects();                                                    ///< [any]
    TopLevelObjects(const TopLevelObjects &) = delete;
    TopLevelObjects &operator=(const TopLevelObjects &) = delete;

    [[nodiscard]] QWidget *view() const noexcept; ///< Null once its parent has gone. [main]

private:
    struct Roots;
    std::unique_ptr<Roots> roots_;
};

} // namespace kx
