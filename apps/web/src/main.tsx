import { createRoot } from "react-dom/client";
import "@xyflow/react/dist/style.css";
import "./app.css";
import { App } from "./components/App";
import { start } from "./commands";

createRoot(document.getElementById("root")!).render(<App />);
start();
