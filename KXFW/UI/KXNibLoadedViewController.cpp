#include "KXFW/UI/KXNibLoadedViewController.h"

KXNibLoadedViewController::~KXNibLoadedViewController() = default; // here, so that the class has one home
