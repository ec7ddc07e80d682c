// What the development server begins with: settings, people who may log in, and the form of the
// settings.
const entrance = {
  height_mm: 4200,
  target_height_mm: [800, 2200],
  detect: "depth",
  sensor: "exact",
  late_counts: "drop",
  tilt: "auto",
  position: "foot",
  staff: "none",
  gender: "none",
  group: { enabled: true, min: 2, max: 6 },
  line: [
    {
      name: "door",
      points: [
        [230, 280],
        [720, 280],
      ],
      directions: ["out", "in"],
      uturn: true,
      area: [
        [215, 205],
        [735, 205],
        [735, 322],
        [215, 322],
      ],
    },
  ],
  region: [
    {
      name: "till",
      points: [
        [560, 332],
        [730, 332],
        [730, 420],
        [560, 420],
      ],
    },
  ],
  exclude: [
    {
      points: [
        [0, 470],
        [290, 470],
        [290, 543],
        [0, 543],
      ],
    },
  ],
};
const backDoor = {
  ...entrance,
  line: [
    {
      name: "delivery",
      points: [
        [480, 140],
        [480, 404],
      ],
      directions: ["towards the yard", "towards the shop"],
    },
  ],
  region: [],
  exclude: [],
};
const gallery = {
  ...entrance,
  line: [
    {
      name: "arch",
      points: [
        [320, 140],
        [320, 400],
      ],
    },
    {
      name: "far arch",
      points: [
        [680, 140],
        [680, 400],
      ],
    },
  ],
  region: [
    {
      name: "showcase",
      points: [
        [400, 190],
        [530, 190],
        [530, 290],
        [400, 290],
      ],
    },
  ],
  exclude: [],
};

export const empty = { ...entrance, height_mm: null, line: [], region: [], exclude: [] };
export const settingsOf = { Entrance: entrance, "Back door": backDoor, Gallery: gallery };

export const users = {
  admin: { password: "open-the-shop", role: "admin" },
  anna: { password: "draw-the-line", role: "operator" },
  tom: { password: "look-and-see", role: "viewer" },
};

const field = (key, label, type, help, more = {}) => ({
  key,
  label,
  type,
  help,
  unit: null,
  minimum: null,
  maximum: null,
  default: null,
  choices: [],
  ...more,
});

export const schema = {
  camera: [
    field(
      "height_mm",
      "Height of the camera",
      "height",
      "From the floor to the lens. It scales almost everything: measure it, or let it be measured while the floor is free.",
      { unit: "mm", minimum: 1500, maximum: 15000 },
    ),
    field(
      "target_height_mm",
      "Height of people",
      "range",
      "Who is smaller or taller than this is not counted.",
      { unit: "mm", minimum: 0, maximum: 3000, default: [800, 2200] },
    ),
    field(
      "tilt",
      "Tilt",
      "tilt",
      "How crooked the camera hangs. It is found on the floor by itself; give angles only where the floor is never to be seen.",
      { unit: "degrees", minimum: -20, maximum: 20, default: "auto" },
    ),
    field(
      "position",
      "Point that counts",
      "choice",
      "foot: where somebody stands; lines are drawn on the floor. box: the top of the head; lines are at the height of heads.",
      { default: "foot", choices: ["foot", "box"] },
    ),
    field(
      "sensor",
      "Sensor",
      "choice",
      "exact: it measures heights right. reads-low: it measures people too low from high up.",
      { default: "exact", choices: ["exact", "reads-low"] },
    ),
    field(
      "detect",
      "People are looked for in",
      "choice",
      "Depth counts best. Colour is meant for places with little traffic.",
      { default: "depth", choices: ["depth", "colour", "both"] },
    ),
    field(
      "late_counts",
      "Late counts",
      "choice",
      "Whom the end of a track finds back before the line: drop leaves such counts out, keep counts them.",
      { default: "drop", choices: ["drop", "keep"] },
    ),
    field("staff", "Staff", "text", "none, vest, or the path of a network that tells staff from visitors.", {
      default: "none",
    }),
    field("group.enabled", "Count groups", "flag", "People who cross together are a group as well.", {
      default: true,
    }),
    field("group.min", "Smallest group", "whole", "Fewer people are no group.", {
      unit: "people",
      minimum: 2,
      maximum: 10,
      default: 2,
    }),
    field("group.max", "Largest group", "whole", "More people are more than one group.", {
      unit: "people",
      minimum: 2,
      maximum: 20,
      default: 6,
    }),
  ],
  place: [
    {
      key: "name",
      label: "Name",
      help: "Of the place, in lower case; part of MQTT topics.",
      value: "corner-shop",
    },
    {
      key: "time_zone",
      label: "Time zone",
      help: "By which days and hours are told.",
      value: "Europe/Berlin",
    },
    {
      key: "open",
      label: "Opening hours",
      help: "Outside of them people are counted, but can be left out of tables.",
      value: "Mon–Sat 09:00–20:00",
    },
    {
      key: "area.shop.capacity",
      label: "Capacity of the shop",
      help: "From so many people on the area is full.",
      value: "80",
    },
    {
      key: "mqtt.host",
      label: "MQTT broker",
      help: "To which counts are published.",
      value: "127.0.0.1:1883",
    },
    {
      key: "keep.recordings",
      label: "Recordings",
      help: "How long they are kept; none are made unless asked for.",
      value: "none",
    },
  ],
};
