// Draws the installer's pictures with a small path tracer.
//
//   pictures FOLDER [PATHS]     PATHS is the number of light paths for each pixel
//
// Pictures are traced at twice their size in the window (NAME@2x.png) and averaged down to
// NAME.png. The random numbers depend on the pixel alone, never on the threads.
#include <QFontInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numbers>
#include <random>
#include <vector>

struct Vec {
    double x = 0, y = 0, z = 0;
    Vec operator+(Vec b) const { return {x + b.x, y + b.y, z + b.z}; }
    Vec operator-(Vec b) const { return {x - b.x, y - b.y, z - b.z}; }
    Vec operator*(Vec b) const { return {x * b.x, y * b.y, z * b.z}; }
    Vec operator*(double s) const { return {x * s, y * s, z * s}; }
    double dot(Vec b) const { return x * b.x + y * b.y + z * b.z; }
    Vec cross(Vec b) const { return {y * b.z - z * b.y, z * b.x - x * b.z, x * b.y - y * b.x}; }
    Vec unit() const { return *this * (1 / std::sqrt(dot(*this))); }
};

using Random = std::mt19937_64;
static double next(Random& random) {
    return double(random() >> 11) * 0x1p-53;
}

static double smooth(double from, double to, double x) {
    double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

enum class Kind { Glossy, Metal, Glass, Lamp };
struct Material {
    Kind kind;
    Vec colour;
    double roughness = 0;
};
struct Sphere {
    Vec centre;
    double radius;
    Material material;
};

// Spheres on an endless floor at height 0, in a dim room with a key light.
struct Scene {
    Vec eye, target;
    double view = 1; // half the height of the view at the distance 1
    double pool = 7; // distance from the middle at which the floor has sunk into the dark
    std::vector<Sphere> spheres;
};

static const Material ground{Kind::Glossy, {.030, .052, .064}, .10};
static const Material pearl{Kind::Glossy, {.74, .72, .68}, .02};
static const Material teal{Kind::Glossy, {.02, .20, .26}, .01};
static const Material copper{Kind::Metal, {.95, .47, .24}, .14};
static const Material glass{Kind::Glass, {.97, .99, 1}};
static const Material lamp{Kind::Lamp, {10, 5, 1.9}};

// The key light is a disc in the sky: its direction, the cosine of its half angle, its light.
static const Vec keyDirection = Vec{-.70, .85, .40}.unit(), keyLight{15, 14.4, 13.5};
static const double keyCosine = .955;

// What the camera sees behind everything; its lower end is also where the floor ends.
static Vec backdrop(Vec d) {
    return Vec{.010, .024, .032} - Vec{.004, .011, .014} * smooth(0, .4, d.y);
}

// What lights the spheres from all around: a dim room, and a cool soft box at the right.
static Vec room(Vec d) {
    Vec light = Vec{.035, .06, .075} + Vec{.165, .17, .175} * smooth(-.1, .9, d.y);
    return light + Vec{.7, 1.1, 1.4} * smooth(.84, .95, d.dot(Vec{.95, .32, -.05}.unit()));
}

// The first sphere on the way, or null. `distance` is the limit, and then where the sphere is.
static const Sphere* nearest(const Scene& scene, Vec from, Vec d, double& distance) {
    const Sphere* found = nullptr;
    for (const Sphere& sphere : scene.spheres) {
        Vec to = sphere.centre - from;
        double b = to.dot(d), c = b * b - to.dot(to) + sphere.radius * sphere.radius;
        double root = std::sqrt(std::max(0.0, c)), t = b - root > 1e-4 ? b - root : b + root;
        if (c > 0 && t > 1e-4 && t < distance) {
            distance = t;
            found = &sphere;
        }
    }
    return found;
}

// A direction around `axis` within the cone of the given cosine, all equally likely.
static Vec inCone(Vec axis, double cosine, Random& random) {
    double c = 1 - next(random) * (1 - cosine), s = std::sqrt(std::max(0.0, 1 - c * c));
    double angle = 2 * std::numbers::pi * next(random);
    Vec u = axis.cross(std::abs(axis.x) > .5 ? Vec{0, 1, 0} : Vec{1, 0, 0}).unit();
    return axis * c + u * (s * std::cos(angle)) + axis.cross(u) * (s * std::sin(angle));
}

// What the key light and the lamps send straight to a point.
static Vec directLight(const Scene& scene, Vec point, Vec n, Random& random) {
    Vec key = inCone(keyDirection, keyCosine, random), sum;
    double distance = 1e9;
    if (key.dot(n) > 0 && !nearest(scene, point, key, distance))
        sum = keyLight * (2 * (1 - keyCosine) * key.dot(n));
    for (const Sphere& sphere : scene.spheres) {
        if (sphere.material.kind != Kind::Lamp)
            continue;
        Vec to = sphere.centre - point;
        double cosine = std::sqrt(std::max(0.0, 1 - sphere.radius * sphere.radius / to.dot(to)));
        Vec d = inCone(to.unit(), cosine, random);
        if (d.dot(n) > 0 && nearest(scene, point, d, distance = 1e9) == &sphere)
            sum = sum + sphere.material.colour * (2 * (1 - cosine) * d.dot(n));
    }
    return sum;
}

// The halo that a camera's lens puts around the lamps.
static Vec halo(const Scene& scene, Vec d) {
    Vec sum;
    for (const Sphere& sphere : scene.spheres) {
        Vec to = sphere.centre - scene.eye, off = to - d * to.dot(d);
        double limit = 1e9, out = std::max(.9, std::sqrt(off.dot(off)) / sphere.radius);
        bool lit = sphere.material.kind == Kind::Lamp;
        if (lit && nearest(scene, scene.eye, to.unit(), limit) == &sphere)
            sum = sum + sphere.material.colour * (.04 * std::exp(-1.3 * out));
    }
    return sum;
}

static Vec trace(const Scene& scene, Vec d, Random& random) {
    Vec from = scene.eye, light, weight{1, 1, 1};
    bool scattered = false; // by a dull surface, where directLight has counted the lights already
    for (int depth = 0; depth < 10 && std::max({weight.x, weight.y, weight.z}) > .0005; ++depth) {
        double distance = from.y > 1e-4 && d.y < 0 ? -from.y / d.y : 1e9;
        const Sphere* sphere = nearest(scene, from, d, distance);
        if (distance > 1e8) {
            bool key = depth && !scattered && d.dot(keyDirection) > keyCosine;
            Vec sky = depth ? room(d) : backdrop(d);
            return light + weight * (key ? sky + keyLight : sky);
        }
        Vec point = from + d * distance;
        Vec n = sphere ? (point - sphere->centre) * (1 / sphere->radius) : Vec{0, 1, 0};
        double c = -d.dot(n);
        const auto& [kind, colour, roughness] = sphere ? sphere->material : ground;
        if (kind == Kind::Lamp) // a frosted globe: it looks dimmer than it shines
            return scattered ? light : light + weight * colour * (.04 + .11 * c * c);
        if (!sphere && depth == 0) {
            double lit = std::exp(-3 * std::pow(point.dot(point) / (scene.pool * scene.pool), 2));
            light = backdrop(d) * (1 - lit);
            weight = weight * lit;
        }
        double ratio = c < 0 ? 1.5 : 1 / 1.5; // out of the glass, or into it
        n = c < 0 ? n * -1 : n;
        c = std::abs(c);
        double square = 1 - ratio * ratio * (1 - c * c); // negative: no way out
        double straight = std::sqrt(std::max(0.0, square));
        double fresnel = .04 + .96 * std::pow(1 - (ratio > 1 ? straight : c), 5);
        if (kind == Kind::Metal || square <= 0)
            fresnel = 1;
        // At the visible hit both ways get a good share of the paths, which keeps the noise low.
        double reflects = depth || fresnel == 1 ? fresnel : std::clamp(fresnel, .3, .7);
        bool mirrors = next(random) < reflects;
        weight = weight * (mirrors ? fresnel / reflects : (1 - fresnel) / (1 - reflects));
        if (kind == Kind::Metal || !mirrors)
            weight = weight * colour;
        if (mirrors) {
            Vec mirrored = d + n * (2 * c);
            d = (mirrored + inCone(n, -1, random) * (roughness * next(random))).unit();
            d = d.dot(n) > 0 ? d : mirrored;
        } else if (kind == Kind::Glass) {
            d = (d * ratio + n * (ratio * c - straight)).unit();
        } else {
            light = light + weight * directLight(scene, point + n * 1e-4, n, random);
            d = (n * 1.0001 + inCone(n, -1, random)).unit();
        }
        scattered = !mirrors && kind != Kind::Glass;
        from = point + n * (d.dot(n) > 0 ? 1e-4 : -1e-4);
    }
    return light;
}

// From 0 to 255: a film curve, then the curve of the screen.
static int display(double linear) {
    double v = linear * (2.51 * linear + .03) / (linear * (2.43 * linear + .59) + .14);
    v = v < .0031308 ? 12.92 * v : 1.055 * std::pow(std::min(v, 1.0), 1 / 2.4) - .055;
    return int(std::lround(v * 255));
}

static QImage render(const Scene& scene, int width, int height, int paths) {
    Vec ahead = (scene.target - scene.eye).unit(), right = ahead.cross({0, 1, 0}).unit();
    Vec up = right.cross(ahead);
    auto direction = [=](double x, double y) {
        return (ahead + (right * (2 * x - width) - up * (2 * y - height)) * (scene.view / height))
            .unit();
    };
    QImage image(width, height, QImage::Format_RGB32);
    QRgb* pixels = reinterpret_cast<QRgb*>(image.bits());
#pragma omp parallel for schedule(dynamic)
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            Random random(y * width + x);
            Vec sum = halo(scene, direction(x + .5, y + .5)) * paths;
            for (int i = 0; i < paths; ++i) {
                double dx = next(random);
                sum = sum + trace(scene, direction(x + dx, y + next(random)), random);
            }
            sum = sum * (1.0 / paths);
            pixels[y * width + x] = qRgb(display(sum.x), display(sum.y), display(sum.z));
        }
    }
    return image;
}

// Around the pages, and where the pictures there end.
static const QColor frame(10, 26, 34);

static Sphere resting(double x, double z, double radius, const Material& material) {
    return {{x, radius, z}, radius, material};
}

// The five steps of the wizard: copper is done, the lamp is the present one, the others are to
// come. Step 0 is none of them, step 5 lights them all.
static Scene watermark(int step) {
    Scene scene{{3.2, 11, 0}, {.55, 0, 0}, .404, 4.2, {}};
    for (int i = 1; i <= 5; ++i) {
        const Material& open = i % 2 ? pearl : teal;
        const Material& material = i == step || step == 5 ? lamp : i < step ? copper : open;
        scene.spheres.push_back(resting((i - 3) * 1.3, 0, .5, material));
    }
    return scene;
}

static Scene stillLife(bool finished) {
    Scene scene{{.4, 1.9, 8}, {-.1, .78, 0}, .222, 7, {}};
    scene.spheres = {resting(-.25, 0, 1, glass),        resting(-1.95, -.8, .75, pearl),
                     resting(1.55, -.9, .7, copper),    resting(.95, .8, .32, teal),
                     resting(-1.35, 1.05, .26, copper), resting(.35, 1.65, .16, pearl),
                     resting(2.05, .55, .2, lamp)};
    static const double beads[][2] = {{-2.2, .9}, {-.75, 1.3}, {-.4, 2.3}, {1.3, 1.9},
                                      {2.6, -.6}, {-1.5, 2.2}, {.8, 2.6}};
    for (auto [x, z] : beads)
        if (finished)
            scene.spheres.push_back(resting(x, z, .09, lamp));
    return scene;
}

// A still life with words in the dark above it.
static QImage titled(QImage picture, const QString& words) {
    QFont font("Lato", -1, QFont::Light);
    font.setPixelSize(42);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 2);
    if (!QFontInfo(font).exactMatch())
        qFatal("the font Lato is missing");
    QPainter painter(&picture);
    painter.setFont(font);
    painter.setPen(QColor(236, 233, 226));
    painter.drawText(QRect(0, 0, picture.width(), 100), Qt::AlignCenter, words);
    return picture;
}

// Lies across the top of every page: light from the left, sinking into the frame.
static QImage banner() {
    QImage image(720, 88, QImage::Format_RGB32);
    image.fill(frame);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(180, 20);
    painter.scale(1, .15);
    QRadialGradient light(0, 0, 440);
    for (double at = 0; at <= 1; at += .125)
        light.setColorAt(at, QColor(74, 104, 122, int(190 * (1 - smooth(0, 1, at)))));
    painter.fillRect(-180, -200, 720, 700, light);
    return image;
}

static QImage rounded(const QImage& from, double radius) {
    QImage to(from.size(), QImage::Format_ARGB32_Premultiplied);
    to.fill(Qt::transparent);
    QPainter painter(&to);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(from);
    painter.drawRoundedRect(to.rect(), radius, radius);
    return to;
}

// One picture of the animation, with numbers from 0 to 35. The tiles start one after another from
// the middle, appear in coarse blocks, then noisy, then clean; at the end everything sinks back
// into the empty canvas. `stages` go from the coarsest to the clean picture.
static QImage whileYouWait(int number, const std::vector<QImage>& stages) {
    const int side = 80, columns = stages[0].width() / side, rows = stages[0].height() / side;
    std::map<double, QRect> tiles; // in their order: by rings around the middle
    for (int i = 0; i < columns * rows; ++i) {
        double x = i % columns + .5 - columns / 2.0, y = i / columns + .5 - rows / 2.0;
        double ring = std::ceil(std::max(std::abs(x), std::abs(y)));
        tiles[10 * ring + std::atan2(y, x)] = {i % columns * side, i / columns * side, side, side};
    }
    QColor canvas(22, 34, 42);
    QImage image(stages[0].size(), QImage::Format_RGB32);
    image.fill(canvas);
    QPainter painter(&image);
    QPen corners(QColor(237, 168, 84), 3, Qt::CustomDashLine, Qt::FlatCap, Qt::MiterJoin);
    corners.setDashPattern({10, 12});
    corners.setDashOffset(5);
    painter.setPen(corners);
    size_t started = 0;
    for (const auto& [order, tile] : tiles) {
        int age = number - int(24 * started++ / tiles.size());
        if (age > 0)
            painter.drawImage(tile, stages[std::min(age < 3 ? age - 1 : (age + 1) / 2, 4)], tile);
        if (age >= 0 && age < 3)
            painter.drawRect(tile.adjusted(7, 7, -7, -7));
    }
    canvas.setAlphaF(std::max(0, number - 32) / 4.0);
    painter.fillRect(image.rect(), canvas);
    return image;
}

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv); // for the words
    QString folder = argc > 1 ? argv[1] : ".";
    int paths = argc > 2 ? std::atoi(argv[2]) : 600;
    auto write = [&](const QString& name, const QImage& image) {
        if (!image.save(folder + "/" + name + ".png"))
            qFatal("cannot write %s/%s.png", qPrintable(folder), qPrintable(name));
    };
    auto save = [&](const QString& name, const QImage& image) {
        write(name + "@2x", image);
        write(name, image.scaledToWidth(image.width() / 2, Qt::SmoothTransformation));
    };

    Scene icon{{0, 1.5, 7}, {.05, .86, 0}, .215, 7, {}};
    icon.spheres = {resting(-.12, 0, 1, teal), resting(.85, .95, .3, lamp),
                    resting(-.85, 1.1, .2, copper)};
    save("zel", rounded(render(icon, 512, 512, paths), 112));
    QImage tile(1024, 1024,
                QImage::Format_ARGB32_Premultiplied); // with the margin of icons on macOS
    tile.fill(Qt::transparent);
    QPainter(&tile).drawImage(100, 100, rounded(render(icon, 824, 824, paths), 185));
    for (int side : {16, 32, 128, 256, 512, 1024})
        write(QString("icon-%1").arg(side),
              tile.scaled(side, side, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    for (bool finished : {false, true}) {
        const QImage image = render(stillLife(finished), 960, 640, paths);
        const char* words = finished ? "Done" : "Lumivex Community Installer";
        save(finished ? "finish-1" : "home-1", rounded(titled(image, words), 16));
    }

    QStringList pages{"", "welcome", "account", "selection", "download", "finished"};
    for (int step = 0; step < 6; ++step) {
        QImage tall = render(watermark(step), 328, 760, paths);
        QLinearGradient fade(0, 0, 0, 760);
        for (double end : {0., 1.})
            fade.setColorAt(end, frame);
        for (double end : {.08, .80})
            fade.setColorAt(end, Qt::transparent);
        QPainter(&tall).fillRect(tall.rect(), fade);
        save(pages[step] + (step ? "Watermark" : "watermark"), tall);
        write(pages[step] + (step ? "Banner" : "banner"), banner());
    }

    Scene scene{{0, 1.5, 9}, {0, .66, 0}, .136, 7, {}};
    scene.spheres = {resting(0, 0, .8, copper),    resting(-1.75, .1, .62, glass),
                     resting(1.7, -.2, .6, pearl), resting(.95, .9, .24, lamp),
                     resting(-.8, 1.1, .2, teal),  resting(2.75, .5, .4, teal),
                     resting(-2.9, -.5, .4, pearl)};
    QImage clean = render(scene, 960, 400, paths);
    std::vector stages{clean.scaledToWidth(60, Qt::SmoothTransformation),
                       clean.scaledToWidth(120, Qt::SmoothTransformation),
                       render(scene, 480, 200, 3), render(scene, 480, 200, 16), clean};
    for (QImage& stage : stages)
        stage = stage.scaled(clean.size());
    for (int i = 0; i < 36; ++i)
        save(QString("whileUWait-%1").arg(i + 1), rounded(whileYouWait(i, stages), 16));
}
