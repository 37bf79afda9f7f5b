#include "Apps/kxplayer/VolumeSlider.h"

#include "Apps/kxplayer/Decibels.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>

namespace kxplayer
{

namespace
{

QString textOfPosition(int position)
{
    return QString::fromStdString(decibelText(decibelsOfPosition(position)));
}

} // namespace

VolumeSlider::VolumeSlider(QWidget *parent)
    : QWidget(parent), slider_(new QSlider(Qt::Horizontal, this)), label_(new QLabel(this))
{
    slider_->setRange(0, kLoudestPosition);
    slider_->setSingleStep(kStepsPerDecibel);
    slider_->setPageStep(6 * kStepsPerDecibel);
    slider_->setAccessibleName(tr("Volume"));
    slider_->setToolTip(tr("Volume; double-click for 0 dB"));
    slider_->installEventFilter(this);
    label_->setMinimumWidth(label_->fontMetrics().horizontalAdvance(textOfPosition(1)));
    label_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(slider_, 1);
    layout->addWidget(label_);
    setFocusProxy(slider_);
    slider_->setValue(kLoudestPosition);
    showPosition(kLoudestPosition);
    connect(slider_, &QSlider::valueChanged, this, [this](int position) {
        showPosition(position);
        emit gainChanged(gain());
    });
}

double VolumeSlider::gain() const
{
    return gainOfDecibels(decibelsOfPosition(slider_->value()));
}

void VolumeSlider::setGain(double gain)
{
    slider_->setValue(positionOfDecibels(decibelsOfGain(gain)));
}

bool VolumeSlider::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != slider_ || event->type() != QEvent::MouseButtonDblClick)
        return QWidget::eventFilter(watched, event);
    slider_->setValue(kLoudestPosition);
    return true;
}

void VolumeSlider::showPosition(int position)
{
    label_->setText(textOfPosition(position));
    slider_->setAccessibleDescription(label_->text());
}

} // namespace kxplayer
