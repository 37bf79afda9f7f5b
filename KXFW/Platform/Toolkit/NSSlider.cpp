#include "KXFW/Platform/Toolkit/NSSlider.h"

#include <QAbstractSlider>

NSSlider::NSSlider(QWidget *widget) : RangedControl(qobject_cast<QAbstractSlider *>(widget)) {}
