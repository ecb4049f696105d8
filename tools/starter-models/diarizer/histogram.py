"""A histogram as SVG text, with nothing but the standard library and numpy."""
import numpy as np

WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 720, 340, 56, 16, 54, 48


def histogram(series, limit, label, first=-.4, last=1., bins=70):
    """series: [(name, values, colour)]; shares of each series by bin; a line at `limit` -> SVG"""
    edges = np.linspace(first, last, bins + 1)
    shares = [np.histogram(np.clip(values, first, last), edges)[0] / max(1, len(values)) for _, values, _ in series]
    top = max(float(s.max()) for s in shares) * 1.05
    x = lambda value: LEFT + (value - first) / (last - first) * (WIDTH - LEFT - RIGHT)
    y = lambda share: HEIGHT - BOTTOM - share / top * (HEIGHT - TOP - BOTTOM)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>']
    for (name, values, colour), share in zip(series, shares):
        steps = " ".join(f"L{x(edges[i]):.1f} {y(s):.1f} L{x(edges[i + 1]):.1f} {y(s):.1f}" for i, s in enumerate(share))
        parts.append(f'<path d="M{x(first):.1f} {y(0):.1f} {steps} L{x(last):.1f} {y(0):.1f} Z" fill="{colour}" fill-opacity=".35" stroke="{colour}" stroke-width="1.2"/>')
    for i, (name, values, colour) in enumerate(series):
        at = 16 + 15 * i
        parts.append(f'<rect x="{LEFT + 8}" y="{at - 9}" width="10" height="10" fill="{colour}" fill-opacity=".6"/>'
                     f'<text x="{LEFT + 24}" y="{at}" fill="#222222">{name} ({len(values)})</text>')
    parts.append(f'<line x1="{x(limit):.1f}" x2="{x(limit):.1f}" y1="{TOP}" y2="{y(0):.1f}" stroke="#222222" stroke-dasharray="4 3"/>'
                 f'<text x="{x(limit) + 4:.1f}" y="{TOP + 10}" fill="#222222">{limit}</text>')
    parts.append(f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y(0):.1f}" y2="{y(0):.1f}" stroke="#222222"/>')
    for value in np.arange(first, last + .01, .2):
        parts.append(f'<text x="{x(value):.1f}" y="{HEIGHT - BOTTOM + 16}" text-anchor="middle" fill="#222222">{abs(value) if abs(value) < .01 else value:.1f}</text>')
    for share in np.linspace(0, top / 1.05, 4):
        parts.append(f'<text x="{LEFT - 6}" y="{y(share) + 4:.1f}" text-anchor="end" fill="#222222">{100 * share:.0f} %</text>')
    parts.append(f'<text x="{(LEFT + WIDTH - RIGHT) / 2:.0f}" y="{HEIGHT - 10}" text-anchor="middle" fill="#222222">{label}</text></svg>')
    return "\n".join(parts) + "\n"
