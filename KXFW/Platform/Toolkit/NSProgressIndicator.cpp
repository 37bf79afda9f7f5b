#include "KXFW/Platform/Toolkit/NSProgressIndicator.h"

#include <QProgressBar>

NSProgressIndicator::NSProgressIndicator(QWidget *widget) : RangedControl(qobject_cast<QProgressBar *>(widget)) {}
