import { render } from "preact";
import { App } from "./app";
import "./page.css";
import { language } from "./text";

document.documentElement.lang = language.value;
render(<App />, document.getElementById("page")!);
