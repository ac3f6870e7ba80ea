#pragma once

#include "Platform/UI/Storyboard.h"

// The app's two storyboards: "Main" (the sign-in flow, profile registration and the tab
// screen) and "TabBar" (the six sections and the screens they lead to).
Storyboard::Catalogue appStoryboards();
