// Settings that are being drawn. Each step is kept in the browser's tab, so that neither a lost
// connection nor a reload loses any of it.
import { cameraPath, read } from "../api";
import { Store } from "../store";
import type { Settings, Version } from "../types";

export interface State {
  base: Version; // what the drawing began with
  settings: Settings;
  undo: Settings[];
  redo: Settings[];
}

const mostSteps = 100;

export class Draft {
  readonly store: Store<State>;
  private merge = "";

  private constructor(
    private readonly camera: string,
    state: State,
  ) {
    this.store = new Store(state);
  }

  static async open(camera: string): Promise<Draft> {
    const kept = sessionStorage.getItem(keyOf(camera));
    if (kept) return new Draft(camera, JSON.parse(kept) as State);
    const base = await read<Version>(cameraPath(camera, "settings"));
    return new Draft(camera, { base, settings: base.settings, undo: [], redo: [] });
  }

  get state(): State {
    return this.store.value;
  }

  get isChanged(): boolean {
    return JSON.stringify(this.state.settings) !== JSON.stringify(this.state.base.settings);
  }

  // Changes with the same `merge` in a row are one step: a drag, a name that is being typed.
  change(settings: Settings, merge = ""): void {
    const { base, settings: before, undo } = this.state;
    const goesOn = merge !== "" && merge === this.merge;
    this.merge = merge;
    this.set({ base, settings, undo: goesOn ? undo : [...undo, before].slice(-mostSteps), redo: [] });
  }

  undo(): void {
    const { base, settings, undo, redo } = this.state;
    const before = undo[undo.length - 1];
    if (!before) return;
    this.merge = "";
    this.set({ base, settings: before, undo: undo.slice(0, -1), redo: [settings, ...redo] });
  }

  redo(): void {
    const { base, settings, undo, redo } = this.state;
    const next = redo[0];
    if (!next) return;
    this.merge = "";
    this.set({ base, settings: next, undo: [...undo, settings], redo: redo.slice(1) });
  }

  // Begins again with a version: after saving, or when somebody else's is taken.
  begin(base: Version): void {
    this.merge = "";
    this.set({ base, settings: base.settings, undo: [], redo: [] });
  }

  private set(state: State): void {
    this.store.set(state);
    if (this.isChanged) sessionStorage.setItem(keyOf(this.camera), JSON.stringify(state));
    else sessionStorage.removeItem(keyOf(this.camera));
  }
}

const keyOf = (camera: string): string => `draft ${camera}`;
