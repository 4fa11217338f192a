#pragma once

namespace bellwick {

// Draws Bellwick's windows with Qt Quick's software renderer unless the user chose a backend: its views are flat 2D,
// and a resident agent should not hold a GPU context and its driver's memory all day.
void chooseSceneGraphBackend();

} // namespace bellwick
