// The picture of a camera, with an overlay that is always of the same frame.
import type { ComponentChildren, JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { address, cameraPath } from "./api";
import { frame, health } from "./live";
import { useWidth } from "./parts";
import { useStore } from "./store";
import { t } from "./text";
import type { LiveFrame, PlaceCamera } from "./types";

function load(camera: string, number: number): Promise<HTMLImageElement> {
  const image = new Image();
  image.src = address(cameraPath(camera, `picture?frame=${number}`));
  return image.decode().then(() => image);
}

// Fetches one picture after the other, always the newest frame; what is shown changes only when
// both picture and data are there. `still` keeps the first one.
function usePicture(
  camera: PlaceCamera,
  still: boolean,
): { canvas: { current: HTMLCanvasElement | null }; shown: LiveFrame | null } {
  const canvas = useRef<HTMLCanvasElement>(null);
  const [shown, setShown] = useState<LiveFrame | null>(null);
  useEffect(() => {
    let busy = false;
    let done = false;
    const next = (wanted: LiveFrame | null): void => {
      if (!wanted || busy || done || wanted.camera !== camera.name) return;
      busy = true;
      load(camera.name, wanted.frame)
        .then((image) => {
          const target = canvas.current;
          if (!target || done) return;
          if (target.width !== image.naturalWidth || target.height !== image.naturalHeight) {
            target.width = image.naturalWidth;
            target.height = image.naturalHeight;
          }
          target.getContext("2d")?.drawImage(image, 0, 0);
          target.dataset.frame = String(wanted.frame);
          setShown(wanted);
          done = still;
        })
        .catch(() => undefined) // the frame is gone already; the next one comes
        .finally(() => {
          busy = false;
          if (frame.value && frame.value.frame !== wanted.frame) next(frame.value);
        });
    };
    setShown(null);
    next(frame.value);
    const end = frame.watch(next);
    return () => {
      done = true;
      end();
    };
  }, [camera.name, still]);
  return { canvas, shown };
}

export function Picture(props: {
  camera: PlaceCamera;
  still?: boolean;
  children?: (shown: LiveFrame | null, unit: number) => ComponentChildren;
  below?: (shown: LiveFrame) => ComponentChildren;
}): JSX.Element {
  const { camera } = props;
  const { canvas, shown } = usePicture(camera, props.still ?? false);
  const [element, width] = useWidth();
  const unit = camera.width / (width || camera.width);
  const state = useStore(health)?.cameras.find((c) => c.name === camera.name)?.state ?? camera.state;
  return (
    <>
      <div class="picture" ref={element} style={{ aspectRatio: `${camera.width} / ${camera.height}` }}>
        <canvas
          ref={canvas}
          width="480"
          height="272"
          role="img"
          aria-label={t("picture.of", { camera: camera.name })}
        />
        {(!shown || state !== "online") && (
          <p class="over">{state === "online" ? t("picture.waiting") : t("picture.none")}</p>
        )}
        {props.children?.(shown, unit)}
      </div>
      {shown && props.below?.(shown)}
    </>
  );
}
