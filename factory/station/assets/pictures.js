// What an operator sees of a fixture: a picture for each setting that a plan can ask for, and the verdicts' signs.

const kSvg = 'http://www.w3.org/2000/svg';

export function svg(name, attributes = {}, ...children) {
  const out = document.createElementNS(kSvg, name);
  for (const [key, value] of Object.entries(attributes)) out.setAttribute(key, value);
  out.append(...children);
  return out;
}

const joined = (points) => points.map((point) => point.join()).join(' ');
const line = (points, kind = 'line') => svg('polyline', {points: joined(points), class: kind});
const area = (points, kind) => svg('polygon', {points: joined(points), class: kind});
const box = (x, y, width, height, kind, rx = 3) => svg('rect', {x, y, width, height, rx, class: kind});
const disc = (cx, cy, r, kind = 'line') => svg('circle', {cx, cy, r, class: kind});
const label = (x, y, words, anchor = 'middle') => svg('text', {x, y, 'text-anchor': anchor}, words);
const path = (d, kind = 'line') => svg('path', {d, class: kind});

function arrow(from, to, kind = 'accent') {
  const angle = Math.atan2(to[1] - from[1], to[0] - from[0]);
  const barb = (turn) => [to[0] - 11 * Math.cos(angle + turn), to[1] - 11 * Math.sin(angle + turn)];
  return svg('g', {}, line([from, to], kind), line([barb(0.5), to, barb(-0.5)], kind));
}

// "Not this".
const crossed = (x, y, size) => path(
  `M${x - size} ${y - size} L${x + size} ${y + size} M${x - size} ${y + size} L${x + size} ${y - size}`, 'no');

// The rotation that turns the phone's own direction `up` upwards, the shortest; a phone on its face was turned about
// its long side.
function standing(up) {
  const size = Math.hypot(...up) || 1;
  const [x, y, z] = up.map((value) => value / size);
  const sine = Math.hypot(x, y);
  const [kx, ky] = sine > 1e-6 ? [y / sine, -x / sine] : [0, 1];
  return ([a, b, c]) => {
    const along = (kx * a + ky * b) * (1 - z);
    return [a * z + ky * c * sine + kx * along, b * z - kx * c * sine + ky * along, c * z + (kx * b - ky * a) * sine];
  };
}

// Seen from before and above, a little from the left.
const [kYaw, kPitch, kScale] = [0.35, 0.6, 62];
const turned = ([x, y, z]) => [x * Math.cos(kYaw) - y * Math.sin(kYaw), x * Math.sin(kYaw) + y * Math.cos(kYaw), z];
const onPage = (point, [cx, cy]) => {
  const [x, y, z] = turned(point);
  const page = [cx + kScale * x, cy - kScale * (z * Math.cos(kPitch) + y * Math.sin(kPitch))];
  return page.map((value) => Math.round(value * 10) / 10);
};
const towardsUs = (normal) => {
  const [, y, z] = turned(normal);
  return z * Math.sin(kPitch) - y * Math.cos(kPitch) > 1e-6;
};

// A phone as a box of six faces; of a convex body those that look towards us hide the others.
function phone(up = [0, 0, 1], at = [100, 80]) {
  const [w, h, d] = [0.42, 0.8, 0.06];
  const stand = standing(up);
  const flat = (points) => points.map((point) => onPage(stand(point), at));
  const rect = (x0, x1, y0, y1, z) => flat([[x0, y0, z], [x1, y0, z], [x1, y1, z], [x0, y1, z]]);
  const out = svg('g');
  for (let axis = 0; axis < 3; ++axis) {
    for (const side of [-1, 1]) {
      const normal = [0, 0, 0];
      normal[axis] = side;
      if (!towardsUs(stand(normal))) continue;
      const size = [w, h, d];
      const corners = [[-1, -1], [1, -1], [1, 1], [-1, 1]].map(([a, b]) => {
        const corner = [0, 0, 0];
        corner[axis] = side * size[axis];
        corner[(axis + 1) % 3] = a * size[(axis + 1) % 3];
        corner[(axis + 2) % 3] = b * size[(axis + 2) % 3];
        return corner;
      });
      out.append(area(flat(corners), 'body'));
      if (axis === 2 && side > 0) {
        out.append(area(rect(-w + 0.05, w - 0.05, -h + 0.08, h - 0.14, d), 'screen'));
        out.append(line(flat([[-0.1, h - 0.07, d], [0.1, h - 0.07, d]])));
      } else if (axis === 2) {
        out.append(area(rect(0.05, 0.32, h - 0.4, h - 0.12, -d), 'lens'));
      }
    }
  }
  return out;
}

const table = () => area([[8, 118], [60, 70], [192, 70], [152, 128]].map(([x, y]) => [x, y + 8]), 'table');

const three = (text) => text.split(',').map(Number);

function directions(value) {
  if (value === 'flat') return [0, 0, 1];
  if (value === 'face-down') return [0, 0, -1];
  if (!value.startsWith('tilted:')) return three(value);
  const angle = Number(value.slice('tilted:'.length)) * Math.PI / 180;
  return [Math.sin(angle), 0, Math.cos(angle)];  // the right edge goes up
}

function lamp(lit, colour) {
  const shade = area([[78, 14], [122, 14], [138, 46], [62, 46]], 'body');
  const bulb = path('M84 46 a16 12 0 0 0 32 0 z', lit ? 'light' : 'line');
  if (colour) bulb.setAttribute('fill', colour);
  return svg('g', {}, line([[100, 2], [100, 14]]), shade, bulb);
}

// More light, more rays.
function rays(lux) {
  const count = Math.max(1, Math.min(4, Math.round(Math.log10(Math.max(lux, 1)))));
  const out = svg('g');
  for (let ray = -count; ray <= count; ++ray) out.append(line([[100 + ray * 9, 66], [100 + ray * 15, 88]], 'ray'));
  return out;
}

// From `low` to `high` as a share of the way.
const share = (value, low, high) => Math.max(0, Math.min(1, (value - low) / (high - low)));

// Of a lamp's light: yellow below, white in the middle, blue above.
function colourOf(kelvin) {
  const part = share(Math.log(kelvin), Math.log(2000), Math.log(10000));
  const [hue, lightness] = part < 0.7 ? [40, 50 + part / 0.7 * 42] : [212, 92 - (part - 0.7) * 60];
  return `hsl(${hue} 100% ${Math.round(lightness)}%)`;
}

const lying = () => svg('g', {}, box(48, 112, 104, 10, 'body', 4), line([[10, 126], [190, 126]]));

const kDraw = {
  up(value) {
    const plain = value === 'flat' || value === 'face-down';
    const out = plain ? [table(), phone(directions(value), [96, 92])] : [phone(directions(value), [96, 84])];
    if (!plain) out.push(arrow([178, 112], [178, 40]));
    if (value.startsWith('tilted:')) out.push(label(178, 136, `${value.slice('tilted:'.length)}°`));
    return out;
  },
  rotation(value) {
    const turns = three(value).some((each) => each !== 0);
    const curl = [path('M48 96 a54 30 0 1 0 20 -32', 'accent'), line([[82, 54], [66, 65], [80, 76]], 'accent')];
    const how = turns ? label(100, 22, `${value} rad/s`) : crossed(100, 90, 34);
    return [table(), phone([0, 0, 1], [98, 92]), ...curl, how];
  },
  vibration(value) {
    const shakes = value !== 'none' && Number(value) !== 0;
    const waves = [-1, 1].flatMap((side) => [0, 14].map((off) =>
      path(`M${100 + side * (64 + off)} 60 q${side * 12} 12 0 24 q${side * -12} 12 0 24`, shakes ? 'accent' : 'line')));
    return [...waves, phone([0, 0, 1], [100, 88]), shakes ? label(100, 22, `${value} m/s²`) : crossed(100, 86, 34)];
  },
  lux(value) {
    const dark = value === 'dark' || Number(value) === 0;
    const light = dark ? crossed(100, 36, 26) : rays(Number(value));
    const lit = svg('g', {transform: 'translate(-34 0)'}, lamp(!dark), light);
    return [lit, lying(), ...(dark ? [] : [label(194, 62, value, 'end'), label(194, 84, 'lux', 'end')])];
  },
  cct(value) {
    return [lamp(true, colourOf(Number(value))), lying(), label(100, 90, `${value} K`)];
  },
  'dark-box'(value) {
    const walls = box(40, 62, 120, 74, 'dark');
    if (value === 'on') {
      return [walls, box(62, 112, 76, 8, 'body'), box(34, 48, 132, 14, 'body'), arrow([100, 6], [100, 42])];
    }
    return [walls, area([[40, 62], [160, 62], [182, 40], [62, 40]], 'table'), box(62, 20, 76, 8, 'body'),
            arrow([100, 104], [100, 38])];
  },
  target(value) {
    const side = [box(24, 24, 12, 108, 'body', 5), disc(39, 44, 4, 'lens')];
    if (value === 'none') return [...side, box(110, 20, 10, 76, 'table'), crossed(115, 58, 38)];
    const x = 70 + 92 * share(Math.log10(1 + Number(value)), 0, 2);
    const middle = (42 + x) / 2;
    return [...side, box(x, 12, 12, 76, 'plate'), line([[x, 90], [x, 118]]), arrow([middle, 108], [42, 108], 'line'),
            arrow([middle, 108], [x, 108], 'line'), label(Math.max(84, middle), 136, `${value} cm`)];
  },
  pressure(value) {
    const angle = Math.PI * (1 - share(Number(value), 300, 1100));
    const at = (radius) => [100 + radius * Math.cos(angle), 92 - radius * Math.sin(angle)];
    const out = [path('M34 92 a66 66 0 0 1 132 0', 'line')];
    for (let tick = 0; tick <= 8; ++tick) {
      const turn = Math.PI * tick / 8;
      out.push(line([58, 66].map((radius) => [100 - radius * Math.cos(turn), 92 - radius * Math.sin(turn)])));
    }
    return [...out, line([[100, 92], at(50)], 'needle'), disc(100, 92, 6, 'plate'), label(100, 132, `${value} hPa`)];
  },
  temperature(value) {
    const top = 100 - 76 * share(Number(value), -60, 120);
    return [box(62, 12, 20, 100, 'body', 10), disc(72, 118, 18, 'hot'), box(67, top, 10, 112 - top, 'hot', 4),
            ...[24, 43, 62, 81, 100].map((y) => line([[84, y], [94, y]])), label(144, 80, `${value} °C`)];
  },
};

// `value` as the runner names it. A setting that is not known yet is told by its words alone.
export function picture(key, value) {
  const out = svg('svg', {viewBox: '0 0 200 140', class: 'picture', 'aria-hidden': 'true'});
  out.append(...(Object.hasOwn(kDraw, key) ? kDraw[key](value) : [table(), phone([0, 0, 1], [98, 92])]));
  return out;
}

// A verdict's shape says what its colour does.
const kSigns = {
  passed: () => [disc(50, 50, 44), path('M28 52 L44 68 L74 34')],
  failed: () => [path('M32 6 H68 L94 32 V68 L68 94 H32 L6 68 V32 Z'), path('M34 34 L66 66 M34 66 L66 34')],
  error: () => [path('M50 6 L96 90 H4 Z'), path('M50 36 V62'), disc(50, 76, 5, 'dot')],
  aborted: () => [box(8, 8, 84, 84, 'line', 8), path('M36 32 V68 M64 32 V68')],
};

export function sign(verdict) {
  const shapes = (kSigns[verdict] ?? kSigns.error)();
  return svg('svg', {viewBox: '0 0 100 100', class: 'sign', 'aria-hidden': 'true'}, ...shapes);
}
