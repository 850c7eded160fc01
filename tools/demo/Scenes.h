// Scenes.h - the procedurally drawn subjects of the demo pictures: landscapes, skies, tilings
// and two test cards. Each painter covers the whole canvas and depends only on its size and
// variant.
#pragma once

#include "demo/Canvas.h"

#include <cstdint>

namespace demo {

enum class Scene {
    Sunset,       // sky and sea at sunset; variants 0-2 change the palette
    Hills,        // layered green hills; 1 misty morning, 2 with a rainbow
    NightSky,     // stars, the Milky Way and a crescent moon (variant 1 without the band)
    Aurora,       // northern lights over a lake
    MountainLake, // snowy range mirrored in a lake; 1 at alpenglow
    Dunes,        // desert dunes at golden hour
    Beach,        // lagoon, foam and sand
    CityDusk,     // skyline with lit windows over a river
    Lavender,     // lavender rows running to the horizon; 1 with a lone tree
    Bokeh,        // out-of-focus lights
    Hexagons,     // hexagonal tiles; variant 2 is flat-coloured (few colours, for GIF)
    Triangles,    // low-poly triangle tiling
    Cubes,        // tumbling blocks (rhombille tiling)
    Seigaiha,     // Japanese wave pattern of overlapping rings
    Truchet,      // quarter-circle Truchet tiles
    UprightCard,  // a dark arrow pointing up, a kUprightTop band above and kUprightBottom below
    InkChart,     // six flat patches in kInkPatches, three a row, on white
};

// The known colours of the test cards, as 0xRRGGBB.
extern const uint32_t kUprightTop, kUprightBottom;
extern const uint32_t kInkPatches[6];

// Paints scene over the whole canvas. Deterministic: the same size and variant give the same
// pixels.
void paintScene(Canvas& canvas, Scene scene, int variant);

// The individual painters (SkyScenes.cpp, LandScenes.cpp, Tilings.cpp).
void paintSunset(Canvas& canvas, int variant);
void paintNightSky(Canvas& canvas, int variant);
void paintAurora(Canvas& canvas, int variant);
void paintBokeh(Canvas& canvas, int variant);
void paintHills(Canvas& canvas, int variant);
void paintMountainLake(Canvas& canvas, int variant);
void paintDunes(Canvas& canvas, int variant);
void paintBeach(Canvas& canvas, int variant);
void paintCityDusk(Canvas& canvas, int variant);
void paintLavender(Canvas& canvas, int variant);
void paintHexagons(Canvas& canvas, int variant);
void paintTriangles(Canvas& canvas, int variant);
void paintCubes(Canvas& canvas, int variant);
void paintSeigaiha(Canvas& canvas, int variant);
void paintTruchet(Canvas& canvas, int variant);
void paintUprightCard(Canvas& canvas, int variant); // TestCards.cpp
void paintInkChart(Canvas& canvas, int variant);

} // namespace demo
