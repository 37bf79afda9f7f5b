#include "KXFW/Audio/KXAFilePlayerFields.h"

#include "KXFW/Audio/Player/PlayerFields.h"

#include <utility>

KXAFilePlayerFields::KXAFilePlayerFields() : fields_(std::make_unique<kx::PlayerFields>()) {}
KXAFilePlayerFields::~KXAFilePlayerFields() = default;

std::shared_ptr<KXAPlayerParam> KXAFilePlayerFields::playerParam() const
{
    return fields_->sharedParam();
}

void KXAFilePlayerFields::setPlayerParam(std::shared_ptr<KXAPlayerParam> param)
{
    fields_->replaceParam(std::move(param));
}

void KXAFilePlayerFields::setIsPlaying(bool isPlaying) noexcept
{
    fields_->isPlaying = isPlaying;
}

std::shared_ptr<kx::SerialQueue> KXAFilePlayerFields::byteOffsetChangeQueue() const
{
    return fields_->sharedQueue();
}

void KXAFilePlayerFields::setByteOffsetChangeQueue(std::shared_ptr<kx::SerialQueue> queue)
{
    fields_->replaceQueue(std::move(queue));
}

AudioUnit KXAFilePlayerFields::outputUnit() const noexcept
{
    return fields_->outputUnit;
}

void KXAFilePlayerFields::setOutputUnit(AudioUnit unit) noexcept
{
    fields_->outputUnit = unit;
}

AudioUnit KXAFilePlayerFields::effectUnit() const noexcept
{
    return fields_->effectUnit;
}

void KXAFilePlayerFields::setEffectUnit(AudioUnit unit) noexcept
{
    fields_->effectUnit = unit;
}

AudioUnit KXAFilePlayerFields::preConverterUnit() const noexcept
{
    return fields_->preConverterUnit;
}

void KXAFilePlayerFields::setPreConverterUnit(AudioUnit unit) noexcept
{
    fields_->preConverterUnit = unit;
}

AudioUnit KXAFilePlayerFields::postConverterUnit() const noexcept
{
    return fields_->postConverterUnit;
}

void KXAFilePlayerFields::setPostConverterUnit(AudioUnit unit) noexcept
{
    fields_->postConverterUnit = unit;
}

std::shared_ptr<kx::TimerSource> KXAFilePlayerFields::timer() const
{
    return fields_->timer.get();
}

void KXAFilePlayerFields::setTimer(std::shared_ptr<kx::TimerSource> timer)
{
    fields_->timer.set(std::move(timer));
}

std::shared_ptr<KXAFilePlayerDataSource> KXAFilePlayerFields::dataSource() const
{
    return fields_->source();
}

void KXAFilePlayerFields::setDataSource(std::shared_ptr<KXAFilePlayerDataSource> source)
{
    fields_->replaceSource(std::move(source));
}

AudioStreamBasicDescription KXAFilePlayerFields::inputDescription() const
{
    return fields_->inputDescription.get();
}
