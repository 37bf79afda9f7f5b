#pragma once

#include "kx/Effect.h"
#include "kx/Error.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kx
{

/// An LV2 plugin that is installed. A value.
struct LV2Plugin {
    std::string uri;  ///< names it for programs
    std::string name; ///< for people, UTF-8
};

/// The plugins of which effects can be made, by name: those with one or two audio inputs and as many outputs that need
/// no more of their host than the rate, the longest block and numbers for URIs. Looked for at the first call, in the
/// folders of LV2_PATH or those of the system. An error where this build has no LV2 plugins (Unsupported).
/// [any] [blocks]
KX_EXPORT Result<std::vector<LV2Plugin>> lv2Plugins();

/// An LV2 plugin as an effect. A plugin of one channel is run twice. What it tells as its latency is made good, as for
/// any effect that is late. It runs inside this process: what it does wrong, the process does.
class KX_EXPORT LV2Effect final : public Effect
{
public:
    /// A number of the plugin that may be set.
    struct Control {
        std::string symbol; ///< names it for programs
        std::string name;   ///< for people, UTF-8
        double minimum;
        double maximum;
        double initial;
    };

    /// Errors: NotFound for a URI that no plugin has, Unsupported for a plugin that cannot serve or a build without
    /// LV2, Other where the plugin itself fails. [any] [blocks]
    static Result<std::shared_ptr<LV2Effect>> make(const std::string &uri);

    ~LV2Effect() override; ///< [any] [blocks]

    [[nodiscard]] const std::vector<Control> &controls() const noexcept; ///< [any]
    /// Takes effect with the next block. Refused (InvalidArgument) are symbols that no control has and values outside
    /// its range. [any]
    Result<> setControl(std::string_view symbol, double value);
    /// The initial value at first. Refused (InvalidArgument) are symbols that no control has. [any]
    [[nodiscard]] Result<double> control(std::string_view symbol) const;

    void prepare(const Format &format) override;                      ///< Activates the plugin. [any] [blocks]
    void process(Source &source, const Block &out) noexcept override; ///< [render]
    void reset() noexcept override;                                   ///< Activates it anew. [any] [render]
    [[nodiscard]] std::uint32_t latency() const noexcept override;    ///< [any] [render]

private:
    struct Impl;
    explicit LV2Effect(std::unique_ptr<Impl> impl) noexcept;

    std::unique_ptr<Impl> impl_;
};

} // namespace kx
