// Scenes.cpp - picks the painter of a scene.
#include "demo/Scenes.h"

namespace demo {

void paintScene(Canvas& canvas, Scene scene, int variant) {
    switch (scene) {
    case Scene::Sunset:
        return paintSunset(canvas, variant);
    case Scene::Hills:
        return paintHills(canvas, variant);
    case Scene::NightSky:
        return paintNightSky(canvas, variant);
    case Scene::Aurora:
        return paintAurora(canvas, variant);
    case Scene::MountainLake:
        return paintMountainLake(canvas, variant);
    case Scene::Dunes:
        return paintDunes(canvas, variant);
    case Scene::Beach:
        return paintBeach(canvas, variant);
    case Scene::CityDusk:
        return paintCityDusk(canvas, variant);
    case Scene::Lavender:
        return paintLavender(canvas, variant);
    case Scene::Bokeh:
        return paintBokeh(canvas, variant);
    case Scene::Hexagons:
        return paintHexagons(canvas, variant);
    case Scene::Triangles:
        return paintTriangles(canvas, variant);
    case Scene::Cubes:
        return paintCubes(canvas, variant);
    case Scene::Seigaiha:
        return paintSeigaiha(canvas, variant);
    case Scene::Truchet:
        return paintTruchet(canvas, variant);
    case Scene::UprightCard:
        return paintUprightCard(canvas, variant);
    case Scene::InkChart:
        return paintInkChart(canvas, variant);
    }
}

} // namespace demo
