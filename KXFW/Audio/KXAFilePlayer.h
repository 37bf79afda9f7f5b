#pragma once

#include "KXFW/Audio/KXAFilePlayerBlock.h"
#include "KXFW/Audio/KXAFilePlayerFields.h"
#include "KXFW/Audio/KXAFiledAudioData2.h"
#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Hardware/AudioObject.h"

#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>

namespace kx
{
struct PlayerEngine;
[[nodiscard]] PlayerEngine &engineOf(const KXAFilePlayer &player) noexcept; ///< The library's own. [any]
} // namespace kx

/// What an export of the range may do beside what it does.
struct KXAExportOptions {
    bool fromRangeStart = false; ///< goes to the range's start first, as `prepareForExport` does
    /// Gives the range alone, as many frames as it makes, and lets the effect hear nothing of what follows it: what a
    /// player plays that plays the range once. The range is the one of the beginning. Else it is rounded up to whole
    /// slices, with what follows the range.
    bool exactFrames = false;
};

/// Plays one audio file through a chain of audio units, with a loop range, a volume and an optional effect unit, and
/// exports the range as it sounds.
///
/// An operation that gives a bool is true when it was done, and false, with nothing changed but what it says itself,
/// when it was refused. The log names an export or another player that is in the way; that no file is loaded, that the
/// range is empty or that the caller ended it needs no line.
///
/// It owns its parameter record, the queue of position changes, the pre-reading timer, the units but the effect unit,
/// and the data source of the loaded file.
///
///     Empty --load--> Stopped --play--> Playing --stop, end of data--> Stopped
///     Stopped --export--> Exporting --done, cancelled, failed--> Stopped
///
/// A failed load leads back to Empty. While Exporting, `play`, loading, position, loop, format and effect changes and a
/// second export are refused (logged, without effect), and device rebuilds wait for the end.
/// After an exception what does not sound is stopped; what is half built is built again by the next play or export.
///
/// Threads: operations may come from any thread; those that touch units are serialised by one control lock. The render
/// thread takes only byteOffsetChangeQueue, the audio data's queues, and for a moment the priority-inheriting locks of
/// the units and of the heard frame. The timer pre-reads every 100 ms. Device changes are handled on the platform's
/// notification thread, exports on a background thread. All of them hold the player only while they work, so the last
/// reference may drop on any thread.
class KX_EXPORT KXAFilePlayer : public KXAFilePlayerFields, public std::enable_shared_from_this<KXAFilePlayer>
{
    struct Key {
    };

public:
    using ProgressAndCancelBlock = std::function<bool(double percent)>; ///< true stops the export
    using CompletionBlock = std::function<void()>;
    using FailureBlock = std::function<void(const NSException &exception)>;
    /// Blocks that the player keeps; see kx::PlayerBlock for how they may use it.
    using PlaybackFailureBlock = kx::PlayerBlock<const NSException &>;
    using PlayerBlock = kx::PlayerBlock<>;

    /// A new player on the default output device: loop on, no file, mode 0. Raises the status assertion when a unit
    /// cannot be made. [any] [blocks]
    static std::shared_ptr<KXAFilePlayer> player();
    explicit KXAFilePlayer(Key key); ///< For `player()`, which sets the new object up. [any]
    /// Ends playback, the timer and the listeners, and disposes of the units but the effect. [any] [blocks]
    ~KXAFilePlayer() override;

    /// Announcements of "inputDescription" run the change hook; none goes on to outside observers. [any]
    void didChangeValueForKey(const std::string &key) override;

    // Loading and transport

    /// Loads a file, with the whole of it as the range and the position at 0; playback goes on if it was running.
    /// False when it cannot be opened: then no file is loaded, and the log says why. While another thread opens it,
    /// `stop` can be requested on any thread: then it is false, and what was loaded stays as it was. [any] [blocks]
    bool loadFileAtURL(const std::filesystem::path &url, const std::stop_token &stop = {});
    /// The same for a caller that tells why itself: `why` (borrowed) gets the status, and the log nothing. It is noErr
    /// after a load, kAudioFileOpeningCancelledError after a stop, kAudioUnitErr_CannotDoInCurrentContext while
    /// exporting. [any] [blocks]
    bool loadFileAtURL(const std::filesystem::path &url, const std::stop_token &stop, OSStatus *why);
    /// The same with a data source of which nothing was read, made before, as on a thread that may wait for the disk.
    /// Null leaves no file. False while exporting, and with null. [any] [blocks]
    bool loadDataSource(std::shared_ptr<KXAFilePlayerDataSource> source, const std::stop_token &stop = {});
    /// The loaded audio data, or null. [any]
    [[nodiscard]] std::shared_ptr<KXAFiledAudioData2> audioData() const;
    /// Starts playback at the position; true while playing. Refused while exporting, without a file and with an empty
    /// range. Raises "KXAFilePlayer play failed" without a thread or memory, and what building the chain raises: the
    /// player is stopped then. An output unit that refuses to start raises the status assertion, and `isPlaying` is
    /// true until a stop; the next play makes the unit anew. [any] [blocks]
    bool play();
    /// Stops playback: sound is cut, and no render callback of this run is running when it returns. From the render
    /// thread it returns at once, and what the device holds is still heard. [any] [render] [blocks]
    void stop();
    /// Stays true while playback moves to another device. [any] [render]
    [[nodiscard]] bool isPlaying() const noexcept;
    /// From the start of an export until it is about to tell its end. [any] [render]
    [[nodiscard]] bool isExporting() const noexcept;
    /// How often sound was missing since the player was made: a device ran dry, or the file that played was not read
    /// ahead in time. It never goes back, and exports add nothing. [any]
    [[nodiscard]] uint64_t underruns() const;
    void _timerFired(void *unused); ///< One tick: pre-reads a second. [any]

    // Position, range, loop, volume. Offsets are bytes of the input format; frames = bytes / 4 truncated.

    [[nodiscard]] int64_t byteOffset() const noexcept; ///< [any] [render]
    [[nodiscard]] int64_t packetOffset() const;        ///< The same as frameOffset. [any] [render]
    [[nodiscard]] int64_t frameOffset() const;         ///< The frame that is read next. [any] [render]
    [[nodiscard]] int64_t totalPackets() const;        ///< Length of the file in packets, 0 without one. [any]
    /// Jumps. With loop, a position outside the range goes to the range's start; else it is limited to 0 and the data's
    /// size. Refused without a file, and while exporting. [any] [queue: byteOffsetChangeQueue] [blocks]
    bool setPositionInByte(int64_t position);
    /// The frame that is being heard, the frames that an effect holds back and the device's latency taken off, and
    /// when. It never goes back but at a wrap, a jump or a new file. While nothing plays it is the frame that was heard
    /// last, or, after a jump, a load or an export, the position; a jump that a stop kept from being heard counts.
    /// [any]
    [[nodiscard]] KXAHeardFrame heardFrame() const;
    bool setPositionToHeardFrame();         ///< After a stop: play goes on where it was heard. [any] [blocks]
    bool setPositionInFrame(int64_t frame); ///< [any] [queue: byteOffsetChangeQueue] [blocks]
    bool setLoop(bool loop);                ///< Refused while exporting. [any] [blocks]
    [[nodiscard]] bool loop() const;        ///< [any] [render]
    /// With loop off, playback ends at the range's end as it does at the data's: the range's frames are heard, what an
    /// effect makes of them to its last frame, and nothing that follows. Off at first; with loop it waits. [any]
    void setPlaysRangeOnce(bool once) noexcept;
    [[nodiscard]] bool playsRangeOnce() const noexcept; ///< [any] [render]
    /// Sets the linear gain, which the output unit limits to 0..1; not a number raises the status assertion. [any]
    void setVolume(float volume);
    [[nodiscard]] float volume() const; ///< [any]

    // The range: start inclusive, end exclusive; any values are stored and take effect with the next slice. All [any].
    void setStartOffset(int64_t bytes);
    void setEndOffset(int64_t bytes);
    void setStartOffsetInFrame(int64_t frame);
    void setEndOffsetInFrame(int64_t frame); ///< Announces "endOffsetInFrame" around the change. [any]
    [[nodiscard]] int64_t startOffset() const;
    [[nodiscard]] int64_t endOffset() const;
    [[nodiscard]] int64_t startOffsetInFrame() const;
    [[nodiscard]] int64_t endOffsetInFrame() const;
    /// Sets the range, then the position, in frames, as one change. Refused while exporting; false without a file,
    /// where the range is set alone. [any] [queue: byteOffsetChangeQueue] [blocks]
    bool setOffsetFramesPlay(int64_t play, int64_t start, int64_t end);

    /// Sets what the render path hands to the chain, and runs the change hook. One that the chain refuses raises the
    /// status assertion; it stays, and playback ends. Refused while exporting. [any] [blocks]
    bool setInputDescription(const AudioStreamBasicDescription &description);

    // The chain of units. The set-ups are for a stopped player; setEffectMode and setEffect may come at any time.

    /// Stores the mode and builds its chain; modes other than 0 and 1 are stored only. Without an effect unit, mode 1
    /// builds the chain of mode 0. Playback goes on. Refused while exporting. [any] [blocks]
    bool setEffectMode(uint64_t mode);
    /// Takes an effect unit (null for none), which lives as long as the player has it unless it is disposed of, and
    /// builds the effect chain, whatever the mode. Refused while exporting, and while another player has the unit,
    /// which can be in one chain only. [any] [blocks]
    bool setEffect(AudioUnit effect);
    /// The unit and the mode in one step, which an export cannot come between. [any] [blocks]
    bool setEffect(AudioUnit effect, uint64_t mode);
    void setupNoEffectMode();                         ///< [any] [blocks]
    void setupAUEffectMode();                         ///< [any] [blocks]
    void prv_cleanAudioUnitIfNeeded(AudioUnit *unit); ///< Ends a unit and clears the handle. [any] [blocks]
    void _setupOutputUnit();                          ///< Makes the output unit anew. [any] [blocks]
    [[nodiscard]] AudioStreamBasicDescription outputDescription(); ///< Of the output unit. [any]
    void _handleInputDescriptionChange();                          ///< [any] [blocks]
    void resetAUs();                                               ///< Makes the units forget their history. [any]

    // The output device

    /// Plays to `device` (0: the default one); stops where it is heard and rebuilds the chain. True. A device that is
    /// not there or cannot play raises the status assertion, and the player stays where it is. [any] [blocks]
    bool setOutputDeviceID(AudioObjectID device);
    /// The device in use; 0 where there is none. [any]
    [[nodiscard]] AudioObjectID outputDeviceID() const noexcept;
    /// Whether the player moves to a new default output device, as it does at first. A chosen device that goes away is
    /// left for the default one all the same. Playback goes on there from the frame that was heard. [any]
    void setFollowsDefaultOutput(bool follows) noexcept;
    [[nodiscard]] bool followsDefaultOutput() const noexcept; ///< [any]
    /// Whether a rebuilt output unit begins at the player's volume; else, as at first, the player takes the unit's.
    void setKeepsVolume(bool keeps) noexcept;        ///< [any]
    [[nodiscard]] bool keepsVolume() const noexcept; ///< [any]
    /// Called after the output unit was rebuilt and before playback goes on, on the thread that rebuilds. It holds up
    /// every other operation: it must not wait for a thread that uses the player. [any]
    void setOutputRebuiltBlock(PlayerBlock block);
    void _setUpHardwareListenerProc(); ///< [any]
    static AudioObjectPropertyAddress
    prv_propertyAddressWithPropertyID(AudioObjectPropertySelector property);      ///< [any]
    OSStatus _handleHardwarePropertyChange(AudioObjectPropertySelector property); ///< [blocks]

    // Export
    /// Stops playback, moves to the range's start and resets the units. Refused while exporting; false without a file.
    /// [any] [blocks]
    bool prepareForExport();
    /// Renders from the position to the range's end into an AIFF file at `url`, on a background thread, and returns at
    /// once; playback is stopped. All blocks may be empty and are called on that thread, but for a refusal, which is
    /// told here and now. `progressAndCancelBlock` gets the percentage before each slice of 512 frames and returns true
    /// to stop; a stopped export is a valid shorter file, else the length is exact: the range's frames through each
    /// change of rate, rounded up, and then up to whole slices. `completionBlock` is called when the file is closed,
    /// `failureBlock` instead when the export failed or was refused: the destination is as it was. True when it has
    /// begun. The blocks are let go when it ends. [any] [blocks]
    bool exportAsyncWithURL(const std::filesystem::path &url, ProgressAndCancelBlock progressAndCancelBlock,
                            CompletionBlock completionBlock, FailureBlock failureBlock = {});
    /// The same as `options` say. [any] [blocks]
    bool exportAsyncWithURL(const std::filesystem::path &url, ProgressAndCancelBlock progressAndCancelBlock,
                            CompletionBlock completionBlock, FailureBlock failureBlock,
                            const KXAExportOptions &options);

    /// Called once for each failure of a file while it plays, with no lock held, on a thread of the platform, or on
    /// that of a `stop` or a load that comes first. What could be read is played to its end (or looped). Without a
    /// block the failure is logged, as one that comes up when the player ends is for a block that takes the player.
    /// [any]
    void setPlaybackFailureBlock(PlaybackFailureBlock block);
    /// Called once when playback has ended by itself, at the end of the data, of the range that is played once, or of
    /// what a failing file gives, and the device has played it out: on the timer's thread, up to a tick later, with no
    /// lock held. The player may be played again (after a jump, or it ends at once), stopped and released in it. It
    /// should return soon: meanwhile nothing is read ahead. A `play`, `stop`, load, export or `prepareForExport` before
    /// it is called keeps it from coming; one that is being told may still come. A jump does not keep it. Neither
    /// `stop` nor the loss of a device is such an end; a rebuild while the device plays out cuts what is left, and the
    /// end is told all the same. [any]
    void setPlaybackEndedBlock(PlayerBlock block);

    // The render path
    /// Reads up to `frames` frames at the position, around the loop, and moves the position on; returns the bytes
    /// written. [render] [queue: byteOffsetChangeQueue]
    int64_t _readToBuffer(void *destination, int64_t frames);

private:
    friend kx::PlayerEngine &kx::engineOf(const KXAFilePlayer &player) noexcept;

    void setUp();
    void startTimer();
    OSStatus take(std::shared_ptr<KXAFilePlayerDataSource> source, const std::stop_token &stop);
    void tellEnd();
    void tell(const std::exception_ptr &failure, bool ending = false) noexcept;

    const std::unique_ptr<kx::PlayerEngine> engine_;
};
