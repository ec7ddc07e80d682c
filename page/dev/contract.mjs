// Holds what the development server takes and answers against api.json, so that the page is never
// tried with anything that the service would not send.
import { readFileSync } from "node:fs";

const api = JSON.parse(readFileSync(new URL("../api.json", import.meta.url)));

function resolve(schema) {
  while (schema.$ref)
    schema = schema.$ref
      .slice(2)
      .split("/")
      .reduce((o, key) => o[key], api);
  return schema;
}

function typeOf(value) {
  if (value === null) return "null";
  if (Array.isArray(value)) return "array";
  if (Number.isInteger(value)) return "integer";
  return typeof value;
}

// The first difference between a value and a schema as a sentence, or null.
export function difference(value, given, place = "the value") {
  const schema = resolve(given);
  for (const part of schema.allOf ?? []) {
    const found = difference(value, part, place);
    if (found) return found;
  }
  if (schema.oneOf && schema.oneOf.every((one) => difference(value, one, place)))
    return `${place} has none of the allowed forms`;
  if (schema.enum && !schema.enum.includes(value))
    return `${place} is ${JSON.stringify(value)}; known are ${schema.enum.join(", ")}`;
  if (schema.type) {
    const type = typeOf(value);
    const types = [schema.type].flat();
    if (!types.includes(type) && !(type === "integer" && types.includes("number")))
      return `${place} is ${type}; it must be ${types.join(" or ")}`;
  }
  if (typeof value === "string") {
    if (value.length < (schema.minLength ?? 0))
      return `${place} is shorter than ${schema.minLength} characters`;
    if (value.length > (schema.maxLength ?? Infinity))
      return `${place} is longer than ${schema.maxLength} characters`;
    if (schema.pattern && !new RegExp(schema.pattern).test(value))
      return `${place} is "${value}", which has not the right form`;
  }
  if (Array.isArray(value)) {
    if (value.length < (schema.minItems ?? 0) || value.length > (schema.maxItems ?? Infinity))
      return `${place} has ${value.length} items`;
    if (schema.items)
      for (let i = 0; i < value.length; ++i) {
        const found = difference(value[i], schema.items, `${place}[${i}]`);
        if (found) return found;
      }
  } else if (value && typeof value === "object") {
    for (const key of schema.required ?? []) if (!(key in value)) return `${place} has no ${key}`;
    for (const [key, item] of Object.entries(value)) {
      const known = schema.properties?.[key] ?? schema.additionalProperties;
      if (schema.properties && !known && !given.$ref?.includes("History")) {
        if (!inAllOf(key)) return `${place} has the unknown key ${key}`;
      } else if (typeof known === "object") {
        const found = difference(item, known, `${place}.${key}`);
        if (found) return found;
      }
    }
  }
  return null;
}

// Keys of a record that is put together from two are in either.
function inAllOf(key) {
  return ["History", "Counts", "Regions", "Areas", "Visitors"].some((name) => {
    const schema = api.components.schemas[name];
    return [schema, ...(schema.allOf ?? []).map(resolve)].some(
      (part) => part.properties && key in part.properties,
    );
  });
}

// { operation, parameters } of a request, or null.
export function find(method, path) {
  for (const [template, item] of Object.entries(api.paths)) {
    const names = [];
    const pattern = template.replace(/\{(\w+)\}/g, (_, name) => (names.push(name), "([^/]+)"));
    const match = new RegExp(`^${pattern}$`).exec(path);
    if (!match) continue;
    const parameters = Object.fromEntries(names.map((name, i) => [name, decodeURIComponent(match[i + 1])]));
    return { operation: item[method.toLowerCase()], parameters, template };
  }
  return null;
}

export function bodyDifference(operation, body) {
  const content = operation.requestBody?.content["application/json"];
  return content ? difference(body, content.schema, "the body") : null;
}

export function queryDifference(operation, query) {
  const known = (operation.parameters ?? []).map(resolve).filter((p) => p.in === "query");
  for (const p of known) {
    const text = query.get(p.name);
    if (text === null) {
      if (p.required) return `the parameter ${p.name} is missing`;
      continue;
    }
    const value =
      p.schema.type === "integer" ? Number(text) : p.schema.type === "boolean" ? text === "true" : text;
    const found = difference(value, p.schema, p.name);
    if (found) return found;
  }
  for (const name of query.keys())
    if (!known.some((p) => p.name === name)) return `there is no parameter ${name}`;
  return null;
}

export function answerDifference(operation, status, body) {
  const response = operation.responses[status];
  if (!response) return status >= 400 ? null : `an answer ${status} is not described`;
  const content = resolve(response).content?.["application/json"];
  return content && body !== undefined ? difference(body, content.schema, "the answer") : null;
}

export function liveDifference(name, body) {
  const schema = {
    frame: "LiveFrame",
    counts: "LiveCounts",
    happened: "Event",
    health: "Health",
    settings: "LiveSettings",
    bye: "LiveBye",
  }[name];
  return difference(body, api.components.schemas[schema], name);
}
