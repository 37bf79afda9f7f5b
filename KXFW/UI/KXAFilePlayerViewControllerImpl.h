#pragma once

#include "KXFW/UI/KXAFilePlayerViewController.h"

#include <atomic>

/// The fields of the screen, and its export.
struct KXAFilePlayerViewController::Impl {
    explicit Impl(KXAFilePlayerViewController &own) : screen(own) {}

    void beginExport(const std::filesystem::path &url);
    void endExport();
    [[nodiscard]] KXAFilePlayer::ProgressAndCancelBlock progressBlock();

    KXAFilePlayerViewController &screen;
    /// Outlives the screen in an export's callbacks.
    std::shared_ptr<std::atomic<bool>> continuesExporting = std::make_shared<std::atomic<bool>>(false);
    bool isExporting = false;
    NSButton openButton, playButton, loopButton, exportButton;
    NSTextField fileNameField, startTimeField, endTimeField, playTimeField;
    NSControl rateSlider, pitchSlider;
    NSWindow exportProgressSheet;
    NSProgressIndicator exportProgressIndicator;
    std::weak_ptr<KXPlayPositionView> playPositionView;
    std::shared_ptr<KXAFilePlayer> player;
    std::shared_ptr<AVAudioUnitTimePitch> pitch;
    std::shared_ptr<kx::SerialQueue> stateChangeQueue;
    std::shared_ptr<NSTimer> timer;
};
