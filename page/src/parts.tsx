// Small pieces that all screens share.
import type { ComponentChildren, JSX } from "preact";
import { useEffect, useId, useLayoutEffect, useRef, useState } from "preact/hooks";
import { message } from "./api";
import { t } from "./text";

export function Dialog(props: {
  title: string;
  close: () => void;
  wide?: boolean;
  children: ComponentChildren;
}): JSX.Element {
  const dialog = useRef<HTMLDialogElement>(null);
  const id = useId();
  // Before the browser does anything else: a key that is pressed now already belongs to the dialog.
  useLayoutEffect(() => {
    const before = document.activeElement;
    dialog.current?.showModal();
    return () => {
      if (before instanceof HTMLElement || before instanceof SVGElement) before.focus();
    };
  }, []);
  return (
    <dialog
      ref={dialog}
      class={props.wide ? "wide" : ""}
      aria-labelledby={id}
      // A browser does not ask first where nobody has clicked since the dialog before.
      onClose={props.close}
      onPointerDown={(event) => event.target === dialog.current && props.close()}
    >
      <div class="inner">
        <header>
          <h2 id={id}>{props.title}</h2>
          <button type="button" class="plain" aria-label={t("close")} onClick={props.close}>
            ✕
          </button>
        </header>
        {props.children}
      </div>
    </dialog>
  );
}

// A label with its control below, and a help text that belongs to it.
export function Labelled(props: {
  label: string;
  help?: string;
  children: (ids: { id: string; "aria-describedby"?: string }) => JSX.Element;
}): JSX.Element {
  const id = useId();
  const help = props.help ? `${id}-help` : undefined;
  return (
    <div class="field">
      <label for={id}>{props.label}</label>
      {props.children({ id, "aria-describedby": help })}
      {props.help && (
        <p class="help" id={help}>
          {props.help}
        </p>
      )}
    </div>
  );
}

export function Select<T extends string>(props: {
  label: string;
  value: T;
  options: { value: T; text: string }[];
  change: (value: T) => void;
  disabled?: boolean;
}): JSX.Element {
  return (
    <Labelled label={props.label}>
      {(ids) => (
        <select
          {...ids}
          disabled={props.disabled}
          value={props.value}
          onChange={(event) => props.change(event.currentTarget.value as T)}
        >
          {props.options.map((option) => (
            <option key={option.value} value={option.value}>
              {option.text}
            </option>
          ))}
        </select>
      )}
    </Labelled>
  );
}

export function Failure(props: { error: unknown }): JSX.Element | null {
  if (!props.error) return null;
  return (
    <p class="failure" role="alert">
      {message(props.error)}
    </p>
  );
}

// Loads what `load` promises, again whenever the key changes; `reload` keeps what is shown meanwhile.
export function useLoaded<T>(
  key: string,
  load: () => Promise<T>,
): { value: T | null; error: unknown; loading: boolean; reload: () => void } {
  const [state, setState] = useState<{ key: string; value: T | null; error: unknown; loading: boolean }>({
    key,
    value: null,
    error: null,
    loading: true,
  });
  const [times, setTimes] = useState(0);
  useEffect(() => {
    let current = true;
    setState((before) => ({ ...before, loading: true, error: before.key === key ? before.error : null }));
    load().then(
      (value) => current && setState({ key, value, error: null, loading: false }),
      (error: unknown) => current && setState((before) => ({ ...before, error, loading: false })),
    );
    return () => {
      current = false;
    };
  }, [key, times]);
  return { ...state, reload: () => setTimes((n) => n + 1) };
}

// The width of an element as it is laid out, in CSS pixels.
export function useWidth(): [(element: Element | null) => void, number] {
  const [width, setWidth] = useState(0);
  const [element, setElement] = useState<Element | null>(null);
  useEffect(() => {
    if (!element) return undefined;
    // Without a width it is not laid out just now, and keeps what it had.
    const measure = (): void => setWidth((before) => element.getBoundingClientRect().width || before);
    const observer = new ResizeObserver(measure);
    observer.observe(element);
    measure();
    return () => observer.disconnect();
  }, [element]);
  return [setElement, width];
}
