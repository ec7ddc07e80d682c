// A value that screens can watch.
import { useEffect, useState } from "preact/hooks";

export class Store<T> {
  private readonly listeners = new Set<(value: T) => void>();
  constructor(private current: T) {}

  get value(): T {
    return this.current;
  }

  set(value: T): void {
    this.current = value;
    for (const listener of [...this.listeners]) listener(value);
  }

  // Returns what ends it.
  watch(listener: (value: T) => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }
}

export function useStore<T>(store: Store<T>): T {
  const [, again] = useState({});
  useEffect(() => store.watch(() => again({})), [store]);
  return store.value;
}
