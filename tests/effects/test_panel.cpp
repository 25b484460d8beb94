// The parts of the sample effects that are no sound: what their panels and pictures show.

#include "effects/panel/layout.h"
#include "effects/panel/levels.h"
#include "effects/scope/samples_feed.h"
#include "effects/scope/spectrum.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <vector>

TEST_CASE("a sine stands in its band at its level, also when the ring has gone round")
{
    scope::samples_feed feed;
    feed.watch(true);
    std::vector<float> block(1000);
    double phase = 0;
    for (int i = 0; i < 300; ++i) {
        for (float& sample : block)
            sample = static_cast<float>(0.5 * std::sin(phase += 2 * 3.14159265358979 * 1000 / 48000));
        feed.hear(block.data(), block.data(), block.size());
    }
    CHECK(feed.written() == 300000);
    const auto heard = feed.last(scope::spectrum_frames);
    CHECK(heard[0].back() == block.back());
    CHECK(heard[1][scope::spectrum_frames - 1000] == block.front());
    const auto bands = scope::spectrum(heard[0], 48000, 64);
    const auto loudest = std::max_element(bands.begin(), bands.end());
    const double octaves = std::log2(scope::highest_band / scope::lowest_band);
    const double band = std::log2(1000 / scope::lowest_band) / octaves * 64;
    CHECK(std::abs(static_cast<double>(loudest - bands.begin()) + 0.5 - band) <= 1.0);
    CHECK(*loudest == doctest::Approx(-6.0).epsilon(0.2));
    CHECK(bands.back() < -80);
    CHECK(bands.front() < -80);

    // Longer than the ring: the end of it.
    std::vector<float> long_block(300000, 0.25f);
    feed.hear(long_block.data(), long_block.data(), long_block.size());
    CHECK(feed.last(scope::samples_feed::most)[0] == std::vector<float>(scope::samples_feed::most, 0.25f));
}

TEST_CASE("a meter rises at once, falls slowly and comes to rest; the parts of a panel do not overlap")
{
    panel::meter meter;
    meter.advance(1.0f, 0.03);
    CHECK(meter.level() == doctest::Approx(0.0));
    meter.advance(0.0f, 0.5);
    CHECK(meter.level() == doctest::Approx(-12.0));
    CHECK(meter.hold() == doctest::Approx(0.0));
    for (int i = 0; i < 100; ++i)
        meter.advance(0.0f, 0.05);
    CHECK(meter.level() == panel::meter::floor_db);
    CHECK(meter.hold() == panel::meter::floor_db);

    for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0})
        for (const panel::parts shape : {panel::parts{false, 1, true}, {false, 3, true}, {true, 1, false}}) {
            const panel::size sizes[] = {
                usual_size(shape, scale), smallest_size(shape, scale), {1200, 1000}, {1, 1}};
            for (const panel::size& size : sizes) {
                const panel::layout made = arrange(shape, size, scale);
                int y = shape.picture ? made.picture.bottom() : 0;
                for (const panel::row& row : made.sliders) {
                    CHECK(row.bar.y >= y);
                    CHECK(row.label.right() <= row.bar.x);
                    CHECK(row.bar.width >= 1);
                    y = row.bar.bottom();
                    for (const double value : {0.0, 0.5, 1.0})
                        if (row.bar.width > 50)
                            CHECK(value_at(row.bar, made.thumb_width,
                                           thumb_at(row.bar, made.thumb_width, value)) ==
                                  doctest::Approx(value).epsilon(0.02));
                }
                if (shape.meters) {
                    CHECK(made.in.bar.y >= y);
                    CHECK(made.out.bar.y >= made.in.bar.bottom());
                    y = made.marks.bottom();
                }
                if (size.height >= smallest_size(shape, scale).height)
                    CHECK(y <= size.height);
            }
        }
}
